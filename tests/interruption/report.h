// What an exploration has counted and found. Several threads may write to it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace interruption {

struct Violation {
    std::string replay;  // what --replay takes
    std::string what;
};

class Report {
 public:
    void count(const std::string& name, std::uint64_t amount = 1);
    void violated(std::string replay, std::string what);
    void classified(const std::string& kind, const std::string& replay);  // of the harsher model: counted, no violation

    // "lives 123456, cuts 4711, ..." in the order of the names, then the violations, one line each, sorted.
    void print(std::size_t most_violations = 40) const;
    void print_classes() const;
    std::size_t violations() const;
    bool enough() const { return first_only && violations() != 0; }  // the rest needn't be explored

    bool first_only = false;

 private:
    mutable std::mutex mutex_;
    std::map<std::string, std::uint64_t> counts_;
    std::vector<Violation> violations_;
    std::map<std::string, std::pair<std::uint64_t, std::string>> classes_;  // how often, and the first in order
};

// Calls `work` for 0 to `count` - 1, on as many threads as the machine has processors, at least two.
void in_parallel(std::size_t count, const std::function<void(std::size_t)>& work);

}  // namespace interruption
