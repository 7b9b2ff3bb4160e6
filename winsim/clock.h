// Time in the simulated machine: it moves only when somebody waits, or when a test moves it.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace winsim {

class Clock {
 public:
    std::uint64_t tick_ms() const { return tick_ms_; }                      // GetTickCount64; 1000000 in a new world
    std::uint64_t file_time() const { return tick_ms_ * 10000 + offset_; }  // GetSystemTimeAsFileTime; follows the tick
    void set_file_time(std::uint64_t time);  // 100 ns units since 1601; a new world's clock says 1 July 2026, 12:00 UTC

    // Moves time forward, running in order each action that falls due on the way, at its own tick. An action may add
    // actions, which run on the same way if they fall due on it, and may itself move the clock.
    void advance(std::uint64_t ms);
    // Runs `action` when the clock reaches `tick`; at once at the next advance if it has passed. Actions of one tick
    // run in the order in which they were added.
    void at(std::uint64_t tick, std::function<void()> action);
    void after(std::uint64_t ms, std::function<void()> action);
    void clear();  // forgets all pending actions

 private:
    struct Action {
        std::uint64_t tick;
        std::function<void()> run;
    };

    std::uint64_t tick_ms_ = 1000000;
    std::uint64_t offset_ = 134273808000000000 - 1000000 * 10000ULL;
    std::vector<Action> actions_;  // by tick, the earliest last
};

}  // namespace winsim
