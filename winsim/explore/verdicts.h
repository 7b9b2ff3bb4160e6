// Judges each disk once.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "winsim/disk.h"

namespace winsim::explore {

// What is wrong with a disk as run `number` would find it, remembered: disks that are alike have the same future.
class Verdicts {
 public:
    using Snapshot = std::shared_ptr<const Disk::State>;

    // Calls `judge` if the disk hasn't been judged for that number. Any thread, also from within `judge`; two threads
    // may judge one disk at the same time.
    std::string ask(const Snapshot& disk, int number, const std::function<std::string()>& judge);
    std::uint64_t distinct() const;  // pairs of a disk and a number

 private:
    mutable std::mutex mutex_;
    std::map<std::pair<int, std::uint64_t>, std::string> known_;
};

}  // namespace winsim::explore
