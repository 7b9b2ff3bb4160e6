#include "winsim/clock.h"

#include <algorithm>
#include <utility>

namespace winsim {

void Clock::set_file_time(std::uint64_t time) {
    offset_ = time - tick_ms_ * 10000;
}

void Clock::advance(std::uint64_t ms) {
    const std::uint64_t end = tick_ms_ + ms;
    while (!actions_.empty() && actions_.back().tick <= end) {
        const Action due = std::move(actions_.back());
        actions_.pop_back();
        tick_ms_ = std::max(tick_ms_, due.tick);
        due.run();
    }
    tick_ms_ = std::max(tick_ms_, end);
}

void Clock::at(std::uint64_t tick, std::function<void()> action) {
    const auto behind_it = [](const Action& pending, std::uint64_t when) { return pending.tick > when; };
    const auto place = std::lower_bound(actions_.begin(), actions_.end(), tick, behind_it);
    actions_.insert(place, {tick, std::move(action)});
}

void Clock::after(std::uint64_t ms, std::function<void()> action) {
    at(tick_ms_ + ms, std::move(action));
}

void Clock::clear() {
    actions_.clear();
}

}  // namespace winsim
