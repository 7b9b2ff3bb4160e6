// The recovery of the stories' folder.
#pragma once

#include <string>

#include "tests/interruption/oracle.h"
#include "winsim/player/recovery.h"

namespace interruption {

using player::Recovery;

inline const player::Course& course() {
    const auto start = [](const Snapshot& disk, int number) -> std::unique_ptr<player::UpdateRun> {
        return std::make_unique<HelperRun>(disk, number);
    };
    static const player::Course one{start, support::kClient, oracle(), layout_of(kNewRelease), layout_of(kNextRelease)};
    return one;
}

}  // namespace interruption
