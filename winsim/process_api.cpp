// Processes: opening, asking, listing and starting them.
#include <tlhelp32.h>
#include <windows.h>

#include <algorithm>
#include <string_view>

#include "winsim/call.h"
#include "winsim/processes_impl.h"
#include "winsim/world_impl.h"

namespace {

using winsim::KernelObject;
using winsim::Process;
using winsim::World;

constexpr std::uint32_t kBadLength = 24;
constexpr std::uint32_t kNotFunctioning = 31;  // what a query on an ended process gives

std::wstring_view last_component(std::wstring_view path) {
    const std::size_t separator = path.find_last_of(L"\\/");
    return separator == std::wstring_view::npos ? path : path.substr(separator + 1);
}

std::wstring parent(std::wstring_view path) {
    const std::size_t separator = path.find_last_of(L"\\/");
    if (separator == std::wstring_view::npos) return {};
    return std::wstring(path.substr(0, separator < 3 ? separator + 1 : separator));
}

bool has_open_handle(World& world, std::uint32_t id) {
    return world.processes.impl().handles.any([id](const KernelObject& object) {
        return object.kind == KernelObject::Kind::process && object.process_id == id;
    });
}

HANDLE open_process(World& world, std::uint32_t id) {
    const Process* process = world.processes.impl().find(id);
    const bool gone = process == nullptr || (!process->running && !has_open_handle(world, id));
    if (gone) return winsim::fail<HANDLE>(world, ERROR_INVALID_PARAMETER, nullptr);
    if (process->open_error != 0) return winsim::fail<HANDLE>(world, process->open_error, nullptr);
    return world.processes.impl().open_process(id);
}

KernelObject& snapshot_of(World& world, HANDLE handle) {
    KernelObject* object = world.processes.impl().handles.find(handle);
    if (object == nullptr || object->kind != KernelObject::Kind::snapshot) {
        world.gate.forbid("a list of processes asked of a handle that is no snapshot");
    }
    return *object;
}

BOOL next_entry(World& world, winsim::ProcessList& list, PROCESSENTRY32W& out) {
    if (out.dwSize != sizeof(PROCESSENTRY32W)) return winsim::fail(world, kBadLength, FALSE);
    if (list.next == list.entries.size()) return winsim::fail(world, ERROR_NO_MORE_FILES, FALSE);
    const winsim::ProcessList::Entry& entry = list.entries[list.next++];
    out = {};
    out.dwSize = sizeof(PROCESSENTRY32W);
    out.th32ProcessID = entry.id;
    out.cntThreads = 1;
    out.pcPriClassBase = 8;
    const std::size_t length = std::min<std::size_t>(entry.name.size(), MAX_PATH - 1);
    std::copy_n(entry.name.begin(), length, out.szExeFile);
    return TRUE;
}

// 0 if `application` can be started in `folder`, else the error.
std::uint32_t start_error(World& world, const std::wstring& application, LPCWSTR folder) {
    if (!world.disk.exists(application)) {
        return world.disk.is_folder(parent(application)) ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND;
    }
    if (world.disk.is_folder(application)) return ERROR_ACCESS_DENIED;
    if (world.disk.read(application).empty()) return ERROR_BAD_EXE_FORMAT;
    if (folder != nullptr && !world.disk.is_folder(folder)) return ERROR_DIRECTORY;
    return 0;
}

}  // namespace

HANDLE WINAPI OpenProcess(DWORD access, BOOL inherit, DWORD process_id) {
    return winsim::gated<HANDLE>("OpenProcess", {}, nullptr, [&](World& world) {
        winsim::demand(world, access == (SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION) && inherit == FALSE,
                       "OpenProcess: other rights than to wait and to ask, or inheritance");
        return open_process(world, process_id);
    });
}

BOOL WINAPI QueryFullProcessImageNameW(HANDLE process, DWORD flags, LPWSTR buffer, LPDWORD size) {
    return winsim::gated<BOOL>("QueryFullProcessImageNameW", {}, FALSE, [&](World& world) {
        const KernelObject* object = world.processes.impl().handles.find(process);
        winsim::demand(world, object != nullptr && object->kind == KernelObject::Kind::process && flags == 0,
                       "QueryFullProcessImageNameW: no process handle, or other flags than 0");
        const Process& target = world.processes.get(object->process_id);
        if (target.image_error != 0) return winsim::fail(world, target.image_error, FALSE);
        if (!target.running) return winsim::fail(world, kNotFunctioning, FALSE);
        if (*size <= target.image.size()) return winsim::fail(world, ERROR_INSUFFICIENT_BUFFER, FALSE);
        *std::copy(target.image.begin(), target.image.end(), buffer) = L'\0';
        *size = static_cast<DWORD>(target.image.size());
        return TRUE;
    });
}

HANDLE WINAPI CreateToolhelp32Snapshot(DWORD flags, DWORD process_id) {
    return winsim::gated<HANDLE>("CreateToolhelp32Snapshot", {}, INVALID_HANDLE_VALUE, [&](World& world) {
        winsim::demand(world, flags == TH32CS_SNAPPROCESS && process_id == 0,
                       "CreateToolhelp32Snapshot: anything but the processes");
        auto list = std::make_unique<winsim::ProcessList>();
        for (const Process& process : world.processes.all()) {
            if (process.running) list->entries.push_back({process.id, std::wstring(last_component(process.image))});
        }
        return world.processes.impl().handles.add({KernelObject::Kind::snapshot, 0, nullptr, std::move(list)});
    });
}

BOOL WINAPI Process32FirstW(HANDLE snapshot, PROCESSENTRY32W* entry) {
    return winsim::gated<BOOL>("Process32FirstW", {}, FALSE, [&](World& world) {
        winsim::ProcessList& list = *snapshot_of(world, snapshot).list;
        list.next = 0;
        return next_entry(world, list, *entry);
    });
}

BOOL WINAPI Process32NextW(HANDLE snapshot, PROCESSENTRY32W* entry) {
    return winsim::gated<BOOL>("Process32NextW", {}, FALSE, [&](World& world) {
        return next_entry(world, *snapshot_of(world, snapshot).list, *entry);
    });
}

BOOL WINAPI CreateProcessW(LPCWSTR application, LPWSTR command_line, SECURITY_ATTRIBUTES* process_security,
                           SECURITY_ATTRIBUTES* thread_security, BOOL inherit, DWORD flags, LPVOID environment,
                           LPCWSTR folder, STARTUPINFOW* startup, PROCESS_INFORMATION* information) {
    const std::wstring_view subject = application == nullptr ? L"" : application;
    return winsim::gated<BOOL>("CreateProcessW", subject, FALSE, [&](World& world) {
        winsim::demand(world, application != nullptr && command_line != nullptr,
                       "CreateProcessW without an application name or a command line");
        winsim::demand(world, process_security == nullptr && thread_security == nullptr && environment == nullptr,
                       "CreateProcessW with security attributes or an environment of its own");
        winsim::demand(world, startup != nullptr && startup->cb == sizeof(STARTUPINFOW) && information != nullptr,
                       "CreateProcessW without its two structures");
        const std::uint32_t error = start_error(world, application, folder);
        if (error != 0) return winsim::fail(world, error, FALSE);

        auto& processes = world.processes.impl();
        const std::uint32_t id = processes.add(application, command_line);
        processes.starts.push_back({application, command_line, folder == nullptr ? L"" : folder, flags,
                                    startup->dwFlags, startup->wShowWindow, inherit != FALSE, id});
        information->hProcess = processes.open_process(id);
        information->hThread = processes.handles.add({KernelObject::Kind::thread, id, nullptr, nullptr});
        information->dwProcessId = id;
        information->dwThreadId = id + 4;
        return TRUE;
    });
}

// These two can't fail, so a fault that is meant for them is passed over.
DWORD WINAPI GetCurrentProcessId() {
    return winsim::gated_with_fault<DWORD>("GetCurrentProcessId", {}, 0,
                                           [](World& world, std::uint32_t) { return world.impl().process_id; });
}

DWORD WINAPI GetCurrentThreadId() {
    return winsim::gated_with_fault<DWORD>("GetCurrentThreadId", {}, 0,
                                           [](World& world, std::uint32_t) { return world.impl().process_id + 4; });
}
