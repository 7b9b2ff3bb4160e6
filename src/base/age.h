// How old something on the disk is, and when leftovers are old enough to be swept up.
//
// Times are 100 ns ticks since 1601 (UTC).
#pragma once

#include <cstdint>

namespace vandrel {

inline constexpr std::uint32_t kStaleAgeMs = 86400000;  // 24 hours: a leftover of any kind is stale from then on
inline constexpr int kMostSweptEntries = 256;           // of one folder, in one run

// Whether at `now` at least `age_ms` milliseconds have passed since `written`. The difference is taken as signed: after
// the clock has been set back, what seems to come from the future is young, not older than everything.
inline bool has_reached_age(std::uint64_t written, std::uint64_t now, std::uint32_t age_ms) {
    constexpr std::int64_t kTicksPerMs = 10000;
    return static_cast<std::int64_t>(now - written) / kTicksPerMs >= static_cast<std::int64_t>(age_ms);
}

}  // namespace vandrel
