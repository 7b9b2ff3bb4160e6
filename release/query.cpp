#include "release/query.h"

#include <charconv>

namespace vandrel_release {

std::optional<std::string> percent_decode(std::string_view text) {
    std::string decoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            decoded += text[at];
            continue;
        }
        const std::string_view digits = text.substr(at + 1, 2);
        unsigned value = 0;
        const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
        if (error != std::errc() || stop != digits.data() + 2) return std::nullopt;
        decoded += static_cast<char>(value);
        at += 2;
    }
    return decoded;
}

std::optional<std::map<std::string, std::string>> parse_query(std::string_view target) {
    std::size_t begin = target.find('?');
    std::map<std::string, std::string> members;
    while (begin != std::string_view::npos) {
        const std::size_t end = target.find('&', begin + 1);
        const std::string_view member = target.substr(begin + 1, end == std::string_view::npos ? end : end - begin - 1);
        const std::size_t equals = member.find('=');
        if (equals == std::string_view::npos) return std::nullopt;
        const auto name = percent_decode(member.substr(0, equals));
        const auto value = percent_decode(member.substr(equals + 1));
        if (!name || !value || !members.emplace(*name, *value).second) return std::nullopt;
        begin = end;
    }
    if (members.empty()) return std::nullopt;
    return members;
}

}  // namespace vandrel_release
