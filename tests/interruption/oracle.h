// The player's oracle for the releases of the stories.
#pragma once

#include <cstdint>
#include <string>

#include "tests/interruption/story.h"
#include "winsim/player/oracle.h"

namespace interruption {

using player::has_active_record;
using player::Picture;

const player::Oracle& oracle();
player::Layout layout_of(std::uint32_t release);

inline Picture picture_of(const winsim::Disk& disk) {
    return oracle().picture_of(disk);
}
inline Picture picture_of(const Snapshot& disk) {
    return oracle().picture_of(disk);
}
inline std::string not_as_before(const Picture& before, const Picture& now) {
    return oracle().not_as_before(before, now);
}
inline std::string not_updated(const Picture& before, std::uint32_t release, const Picture& now, bool rewritten) {
    return oracle().not_updated(before, layout_of(release), now, rewritten);
}
inline std::string neither_old_nor_new(const Picture& before, const Picture& now) {
    return oracle().neither_old_nor_new(before, layout_of(kNewRelease), now);
}

}  // namespace interruption
