// Answers that go wrong on purpose, for whoever tries a client's behaviour out.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vandrel_release {

// What happens instead of a complete answer with status 200:
//   503       that status, and no body
//   close     the connection closes without an answer
//   truncate  it closes after half of the body
//   stall     after half of the body nothing comes for 60 s; then it closes
//   corrupt   one bit in the middle of the body is wrong
enum class Fault { kStatus503, kClose, kTruncate, kStall, kCorrupt };

const char* name_of(Fault fault);

struct FaultRule {
    Fault fault = Fault::kStatus503;
    std::string what;         // "manifest" or "download"; empty: both
    std::uint32_t count = 1;  // so many answers
};

// "WHAT[:COUNT][:manifest|:download]"; nothing for any other text.
std::optional<FaultRule> parse_fault_rule(const std::string& text);

// Safe to use from several threads.
class FaultPlan {
 public:
    explicit FaultPlan(std::vector<FaultRule> rules) : rules_(std::move(rules)) {}

    // What shall happen to the next complete answer of this kind, which is thereby used up: that of the first rule that
    // fits it and isn't spent.
    std::optional<Fault> next(const std::string& what);

 private:
    std::mutex mutex_;
    std::vector<FaultRule> rules_;
};

}  // namespace vandrel_release
