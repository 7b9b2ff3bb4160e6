#include "tests/interruption/report.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <exception>
#include <thread>

namespace interruption {

void Report::count(const std::string& name, std::uint64_t amount) {
    const std::lock_guard lock(mutex_);
    counts_[name] += amount;
}

void Report::violated(std::string replay, std::string what) {
    const std::lock_guard lock(mutex_);
    violations_.push_back({std::move(replay), std::move(what)});
}

void Report::classified(const std::string& kind, const std::string& replay) {
    const std::lock_guard lock(mutex_);
    auto& [amount, first] = classes_[kind];
    ++amount;
    if (first.empty() || replay < first) first = replay;
}

std::size_t Report::violations() const {
    const std::lock_guard lock(mutex_);
    return violations_.size();
}

void Report::print(std::size_t most_violations) const {
    const std::lock_guard lock(mutex_);
    for (const auto& [name, amount] : counts_)
        std::printf("%12llu  %s\n", static_cast<unsigned long long>(amount), name.c_str());
    std::vector<std::string> lines;
    for (const Violation& violation : violations_) {
        const bool quoted = violation.replay.find(' ') != std::string::npos;
        const std::string replay = quoted ? "'" + violation.replay + "'" : violation.replay;
        lines.push_back("interruption --replay " + replay + "   # " + violation.what);
    }
    std::sort(lines.begin(), lines.end());
    for (std::size_t i = 0; i < lines.size() && i < most_violations; ++i) std::printf("%s\n", lines[i].c_str());
    std::printf("%12zu  violations\n", violations_.size());
    std::fflush(stdout);
}

void Report::print_classes() const {
    const std::lock_guard lock(mutex_);
    for (const auto& [kind, found] : classes_) {
        std::printf("%8llu  %s   (first: %s)\n", static_cast<unsigned long long>(found.first), kind.c_str(),
                    found.second.c_str());
    }
}

void in_parallel(std::size_t count, const std::function<void(std::size_t)>& work) {
    std::atomic<std::size_t> next{0};
    std::exception_ptr failure;
    std::mutex mutex;
    const auto take_turns = [&] {
        try {
            for (std::size_t i = next++; i < count; i = next++) work(i);
        } catch (...) {
            const std::lock_guard lock(mutex);
            failure = std::current_exception();
            next = count;
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 1; i < std::max(2U, std::thread::hardware_concurrency()); ++i) threads.emplace_back(take_turns);
    take_turns();
    for (std::thread& thread : threads) thread.join();
    if (failure) std::rethrow_exception(failure);
}

}  // namespace interruption
