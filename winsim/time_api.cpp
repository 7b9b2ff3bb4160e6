// Time. None of these calls can fail, so a fault that is meant for them is passed over.
#include <windows.h>

#include "winsim/call.h"

using winsim::World;

ULONGLONG WINAPI GetTickCount64() {
    return winsim::gated_with_fault<ULONGLONG>("GetTickCount64", {}, 0,
                                               [](World& world, std::uint32_t) { return world.clock.tick_ms(); });
}

void WINAPI Sleep(DWORD milliseconds) {
    winsim::gated_with_fault<int>("Sleep", {}, 0, [&](World& world, std::uint32_t) {
        world.clock.advance(milliseconds);
        return 0;
    });
}

void WINAPI GetSystemTimeAsFileTime(FILETIME* time) {
    winsim::gated_with_fault<int>("GetSystemTimeAsFileTime", {}, 0, [&](World& world, std::uint32_t) {
        const std::uint64_t now = world.clock.file_time();
        time->dwLowDateTime = static_cast<DWORD>(now);
        time->dwHighDateTime = static_cast<DWORD>(now >> 32);
        return 0;
    });
}
