// What an exploration has counted and found. Several threads may write to it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace winsim::explore {

class Report {
 public:
    void count(const std::string& name, std::uint64_t amount = 1);
    // `schedule`: "SCENARIO:DISTURBANCE...", which replays the case alone.
    void violated(const std::string& schedule, const std::string& what);
    // A case that ends badly in a way that is known: counted by its kind, and no violation.
    void tolerated(const std::string& kind, const std::string& schedule);

    std::uint64_t counted(const std::string& name) const;
    std::size_t violation_count() const;
    // "--replay SCHEDULE   # what is wrong", a line each, sorted, at most so many of them; empty: none.
    std::string violations(std::size_t most = 40) const;
    // To stdout: what was tolerated, the counts in the order of their names, the violations and how many they are.
    void print(std::size_t most_violations) const;

    bool first_only = false;
    bool enough() const { return first_only && violation_count() != 0; }  // the rest needn't be explored

 private:
    struct Kind {
        std::uint64_t cases = 0;
        std::string first;  // in the order of the texts
    };

    mutable std::mutex mutex_;
    std::map<std::string, std::uint64_t> counts_;
    std::vector<std::string> violations_;
    std::map<std::string, Kind> tolerated_;
};

}  // namespace winsim::explore
