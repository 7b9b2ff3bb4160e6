#include "winsim/explore/faults.h"

#include <algorithm>
#include <array>

namespace winsim::explore {
namespace {

using Errors = std::vector<std::uint32_t>;

template <std::size_t count>
bool lists(const std::array<std::string_view, count>& names, std::string_view call) {
    return std::ranges::find(names, call) != names.end();
}

// The releasing calls never ask for a fault (winsim/gate.h), nor do those that only look at the clock or the process.
bool can_fail(std::string_view call) {
    constexpr std::array<std::string_view, 13> names{"GetTickCount64",
                                                     "Sleep",
                                                     "GetSystemTimeAsFileTime",
                                                     "GetCurrentProcessId",
                                                     "GetCurrentThreadId",
                                                     "LocalFree",
                                                     "CloseHandle",
                                                     "FindClose",
                                                     "ReleaseMutex",
                                                     "WinHttpCloseHandle",
                                                     "BCryptCloseAlgorithmProvider",
                                                     "BCryptDestroyHash",
                                                     "BCryptDestroyKey"};
    return !lists(names, call);
}

bool is_of_files(std::string_view call) {
    constexpr std::array<std::string_view, 18> names{"CreateFileW",
                                                     "FlushFileBuffers",
                                                     "GetFileSizeEx",
                                                     "GetFileAttributesW",
                                                     "GetFileAttributesExW",
                                                     "DeleteFileW",
                                                     "RemoveDirectoryW",
                                                     "CopyFileW",
                                                     "MoveFileExW",
                                                     "CreateDirectoryW",
                                                     "FindFirstFileW",
                                                     "FindNextFileW",
                                                     "GetFullPathNameW",
                                                     "GetTempPathW",
                                                     "GetModuleFileNameW",
                                                     "SHGetFolderPathW",
                                                     "GetFileInformationByHandle",
                                                     "ReplaceFileW"};
    return lists(names, call);
}

}  // namespace

const Errors& errors_of(std::string_view call) {
    static const Errors files{2, 3, 5, 32, 33, 80, 87, 112, 1117};
    static const Errors transfers{2, 3, 5, 32, 33, 80, 87, 112, 1117, kShortTransfer};
    static const Errors replacing{2, 3, 5, 32, 33, 80, 87, 112, 1117, 1175, 1176, 1177};
    static const Errors network{12002, 12029, 12030, 12152, 12175};
    static const Errors network_reading{12002, 12029, 12030, 12152, 12175, kShortTransfer};
    static const Errors statuses{0xC0000001 /* unsuccessful */, 0xC0000017 /* no memory */};
    static const Errors processes{2, 5, 8, 87, 1455};
    static const Errors none;
    if (!can_fail(call)) return none;
    if (call == "ReplaceFileW") return replacing;
    if (call == "ReadFile" || call == "WriteFile") return transfers;
    if (call == "WinHttpReadData") return network_reading;
    if (call.starts_with("WinHttp")) return network;
    if (call.starts_with("BCrypt")) return statuses;
    return is_of_files(call) ? files : processes;
}

bool only_looks(std::string_view call) {
    constexpr std::array<std::string_view, 8> names{"GetFileAttributesW",  "GetFileAttributesExW", "GetFullPathNameW",
                                                    "FindFirstFileW",      "FindNextFileW",        "FormatMessageW",
                                                    "MultiByteToWideChar", "WideCharToMultiByte"};
    return call.starts_with("BCrypt") || lists(names, call);
}

bool is_denial(std::string_view call, std::uint32_t error) {
    constexpr std::array<std::string_view, 5> names{"GetFileAttributesW", "GetFileAttributesExW", "FindFirstFileW",
                                                    "DeleteFileW", "RemoveDirectoryW"};
    return (error == 2 || error == 3) && lists(names, call);
}

std::vector<Disturbance> failing_calls(const Recording& recording, std::uint64_t one_in_looks,
                                       std::uint64_t one_in_others) {
    std::vector<Disturbance> faults;
    std::uint64_t turn = 0;
    for (const RecordedCall& call : recording.calls) {
        const Errors& errors = errors_of(call.name);
        const std::uint64_t one_in = only_looks(call.name) ? one_in_looks : one_in_others;
        for (std::size_t i = 0; i < errors.size() && one_in != 0; ++i) {
            if (one_in > 1 && (turn % one_in != 0 || i != turn / one_in % errors.size())) continue;
            faults.emplace_back(FailedCall{call.process, call.number, errors[i]});
        }
        ++turn;
    }
    return faults;
}

std::vector<Disturbance> failing_allocations(const Recording& recording, char process, std::uint64_t one_in,
                                             std::uint64_t last) {
    std::vector<Disturbance> faults;
    const auto made = recording.allocations.find(process);
    const std::uint64_t count = made == recording.allocations.end() ? 0 : made->second;
    for (std::uint64_t n = 1; n <= count; ++n) {
        const bool chosen = one_in != 0 && n % one_in == 0;
        if (chosen || n + last > count) faults.emplace_back(FailedAllocation{process, n});
    }
    return faults;
}

void add_interferences(std::vector<Disturbance>& all, const Recording& recording, const std::string& action,
                       const Places& places) {
    std::uint64_t turn = places.first;
    for (const RecordedCall& call : recording.calls) {
        const bool chosen = turn++ % places.one_in == 0;
        if (!chosen && (places.subject.empty() || call.subject != places.subject)) continue;
        all.emplace_back(Interference{action, call.process, call.number});
    }
}

}  // namespace winsim::explore
