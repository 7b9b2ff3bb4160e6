#include "winsim/loss.h"

#include <algorithm>
#include <array>
#include <functional>

namespace winsim {
namespace {

constexpr std::array<const char*, 3> kDataNames{"+kept", "+lost", "+torn"};

bool is_number(const std::string& text) {
    return !text.empty() && text.size() < 10 && text.find_first_not_of("0123456789") == std::string::npos;
}

}  // namespace

bool Loss::keeps_prefix() const {
    return std::is_sorted(kept.begin(), kept.end(), std::greater<>());
}

std::string Loss::name() const {
    std::string text;
    if (keeps_prefix()) {
        text = std::to_string(std::count(kept.begin(), kept.end(), true)) + "/" + std::to_string(kept.size());
    } else {
        for (const bool flag : kept) text += flag ? '1' : '0';
    }
    return text + kDataNames.at(static_cast<std::size_t>(data));
}

std::optional<Loss> parse_loss(const std::string& name) {
    const std::size_t plus = name.find('+');
    if (plus == std::string::npos) return std::nullopt;
    const auto data = std::find(kDataNames.begin(), kDataNames.end(), name.substr(plus));
    if (data == kDataNames.end()) return std::nullopt;
    Loss loss;
    loss.data = static_cast<Loss::Data>(data - kDataNames.begin());
    const std::string records = name.substr(0, plus);
    const std::size_t slash = records.find('/');
    if (slash == std::string::npos) {
        if (records.find_first_not_of("01") != std::string::npos) return std::nullopt;
        for (const char flag : records) loss.kept.push_back(flag == '1');
        return loss;
    }
    const std::string kept = records.substr(0, slash);
    const std::string pending = records.substr(slash + 1);
    if (!is_number(kept) || !is_number(pending)) return std::nullopt;
    loss.kept.assign(std::stoul(pending), false);
    std::fill_n(loss.kept.begin(), std::min<std::size_t>(std::stoul(kept), loss.kept.size()), true);
    return loss;
}

}  // namespace winsim
