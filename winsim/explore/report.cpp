#include "winsim/explore/report.h"

#include <algorithm>
#include <cstdio>

namespace winsim::explore {

void Report::count(const std::string& name, std::uint64_t amount) {
    const std::lock_guard lock(mutex_);
    counts_[name] += amount;
}

void Report::violated(const std::string& schedule, const std::string& what) {
    const bool blanks = schedule.find(' ') != std::string::npos;
    const std::lock_guard lock(mutex_);
    violations_.push_back("--replay " + (blanks ? "'" + schedule + "'" : schedule) + "   # " + what);
}

void Report::tolerated(const std::string& kind, const std::string& schedule) {
    const std::lock_guard lock(mutex_);
    Kind& known = tolerated_[kind];
    ++known.cases;
    if (known.first.empty() || schedule < known.first) known.first = schedule;
}

std::uint64_t Report::counted(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    const auto found = counts_.find(name);
    return found == counts_.end() ? 0 : found->second;
}

std::size_t Report::violation_count() const {
    const std::lock_guard lock(mutex_);
    return violations_.size();
}

std::string Report::violations(std::size_t most) const {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> lines = violations_;
    std::sort(lines.begin(), lines.end());
    std::string text;
    for (std::size_t i = 0; i < lines.size() && i < most; ++i) text += lines[i] + "\n";
    return text;
}

void Report::print(std::size_t most_violations) const {
    for (const auto& [kind, known] : tolerated_) {
        std::printf("%8llu  tolerated: %s\n          the first is %s\n", static_cast<unsigned long long>(known.cases),
                    kind.c_str(), known.first.c_str());
    }
    for (const auto& [name, amount] : counts_) {
        std::printf("%12llu  %s\n", static_cast<unsigned long long>(amount), name.c_str());
    }
    std::printf("%s%12zu  violations\n", violations(most_violations).c_str(), violation_count());
    std::fflush(stdout);
}

}  // namespace winsim::explore
