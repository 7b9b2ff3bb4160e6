#include "release/fault_plan.h"

#include <sstream>
#include <utility>

#include "release/tree.h"

namespace vandrel_release {
namespace {

constexpr std::pair<const char*, Fault> kNames[] = {{"503", Fault::kStatus503},
                                                    {"close", Fault::kClose},
                                                    {"truncate", Fault::kTruncate},
                                                    {"stall", Fault::kStall},
                                                    {"corrupt", Fault::kCorrupt}};

std::optional<Fault> fault_named(const std::string& text) {
    for (const auto& [name, fault] : kNames) {
        if (text == name) return fault;
    }
    return std::nullopt;
}

}  // namespace

const char* name_of(Fault fault) {
    for (const auto& [name, known] : kNames) {
        if (known == fault) return name;
    }
    return "";
}

std::optional<FaultRule> parse_fault_rule(const std::string& text) {
    std::istringstream parts(text);
    std::string part;
    std::getline(parts, part, ':');
    const std::optional<Fault> fault = fault_named(part);
    if (!fault || text.back() == ':') return std::nullopt;
    FaultRule rule{*fault, "", 1};
    while (std::getline(parts, part, ':')) {
        const std::optional<std::uint32_t> count = parse_release_number(part);  // plain decimal, not 0
        if (count) {
            rule.count = *count;
        } else if (part == "manifest" || part == "download") {
            rule.what = part;
        } else {
            return std::nullopt;
        }
    }
    return rule;
}

std::optional<Fault> FaultPlan::next(const std::string& what) {
    const std::scoped_lock lock(mutex_);
    for (FaultRule& rule : rules_) {
        if (rule.count > 0 && (rule.what.empty() || rule.what == what)) {
            --rule.count;
            return rule.fault;
        }
    }
    return std::nullopt;
}

}  // namespace vandrel_release
