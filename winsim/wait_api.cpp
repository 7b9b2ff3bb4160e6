// Mutexes, waits and the closing of kernel handles.
#include <windows.h>

#include "winsim/call.h"
#include "winsim/disk_impl.h"
#include "winsim/processes_impl.h"
#include "winsim/world_impl.h"

namespace {

using winsim::KernelObject;
using winsim::World;

constexpr std::uint32_t kNotOwner = 288;

KernelObject* find_mutex(World& world, HANDLE handle) {
    KernelObject* object = world.processes.impl().handles.find(handle);
    return object != nullptr && object->kind == KernelObject::Kind::mutex ? object : nullptr;
}

// Lets the time pass, millisecond by millisecond so that what an action of the clock does is seen at its own tick.
template <class Ready>
bool wait(World& world, DWORD milliseconds, Ready ready) {
    for (DWORD passed = 0; !ready(); ++passed) {
        if (passed == milliseconds) return false;
        world.clock.advance(1);
    }
    return true;
}

DWORD wait_for_mutex(World& world, const std::wstring& key, DWORD milliseconds) {
    auto& processes = world.processes.impl();
    winsim::Mutex& mutex = processes.mutexes.find(key)->second;
    bool was_abandoned = false;
    const bool taken =
        wait(world, milliseconds, [&] { return processes.take(mutex, world.impl().process_id, was_abandoned); });
    if (!taken) return WAIT_TIMEOUT;
    return was_abandoned ? WAIT_ABANDONED : WAIT_OBJECT_0;
}

DWORD wait_for_process(World& world, std::uint32_t id, DWORD milliseconds) {
    const bool ended = wait(world, milliseconds, [&] { return world.processes.impl().ended(id); });
    return ended ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

}  // namespace

HANDLE WINAPI CreateMutexW(SECURITY_ATTRIBUTES* security, BOOL initial_owner, LPCWSTR name) {
    const std::wstring_view subject = name == nullptr ? L"" : name;
    return winsim::gated<HANDLE>("CreateMutexW", subject, nullptr, [&](World& world) {
        winsim::demand(world, security == nullptr && initial_owner == FALSE && !subject.empty(),
                       "CreateMutexW: anything but a named mutex that isn't owned yet");
        auto& processes = world.processes.impl();
        const std::wstring_view key = processes.mutex_key(subject);
        auto found = processes.mutexes.find(key);
        const bool existed = found != processes.mutexes.end();
        if (!existed) found = processes.mutexes.emplace(key, winsim::Mutex{}).first;
        ++found->second.handles;
        world.gate.last_error = existed ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS;
        return processes.handles.add({KernelObject::Kind::mutex, 0, &found->first, nullptr});
    });
}

BOOL WINAPI ReleaseMutex(HANDLE mutex) {
    return winsim::gated_release<BOOL>("ReleaseMutex", FALSE, [&](World& world) {
        const KernelObject* object = find_mutex(world, mutex);
        if (object == nullptr) world.gate.forbid("ReleaseMutex of a handle that is no mutex");
        auto& processes = world.processes.impl();
        winsim::Mutex& state = processes.mutexes.find(*object->mutex)->second;
        if (state.owner != world.impl().process_id) return winsim::fail(world, kNotOwner, FALSE);
        processes.release(state);
        return TRUE;
    });
}

DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    return winsim::gated<DWORD>("WaitForSingleObject", {}, WAIT_FAILED, [&](World& world) {
        winsim::demand(world, milliseconds != 0xFFFFFFFFU, "WaitForSingleObject without a limit");
        KernelObject* object = world.processes.impl().handles.find(handle);
        if (object == nullptr) world.gate.forbid("WaitForSingleObject on a handle that isn't open");
        if (object->kind == KernelObject::Kind::mutex) return wait_for_mutex(world, *object->mutex, milliseconds);
        winsim::demand(world, object->kind == KernelObject::Kind::process,
                       "WaitForSingleObject on this kind of handle");
        return wait_for_process(world, object->process_id, milliseconds);
    });
}

BOOL WINAPI CloseHandle(HANDLE handle) {
    return winsim::gated_release<BOOL>("CloseHandle", FALSE, [&](World& world) {
        auto& processes = world.processes.impl();
        if (processes.handles.find(handle) != nullptr) {
            processes.close(handle);
        } else if (!winsim::close_disk_handle(world.disk, handle)) {
            world.gate.forbid("CloseHandle of a handle that isn't open");
        }
        return TRUE;
    });
}
