#include "winsim/explore/verdicts.h"

namespace winsim::explore {

std::string Verdicts::ask(const Snapshot& disk, int number, const std::function<std::string()>& judge) {
    const std::pair key(number, Disk::hash(*disk));
    {
        const std::lock_guard lock(mutex_);
        const auto found = known_.find(key);
        if (found != known_.end()) return found->second;
    }
    std::string wrong = judge();
    const std::lock_guard lock(mutex_);
    return known_.emplace(key, std::move(wrong)).first->second;
}

std::uint64_t Verdicts::distinct() const {
    const std::lock_guard lock(mutex_);
    return known_.size();
}

}  // namespace winsim::explore
