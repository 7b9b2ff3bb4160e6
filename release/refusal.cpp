#include "release/refusal.h"

#include <openssl/asn1.h>
#include <openssl/err.h>

#include <algorithm>
#include <system_error>

namespace vandrel_release {
namespace {

constexpr std::size_t kShownTexts = 40;

std::vector<std::string> sorted(std::vector<std::string> texts) {
    std::sort(texts.begin(), texts.end());
    return texts;
}

struct Range {
    unsigned long first;
    unsigned long last;
};

// What a terminal takes for a command, what breaks a line or turns its direction, and what is there but not seen.
constexpr Range kHidden[] = {{0x00, 0x1F},     {0x7F, 0x9F},      {0xAD, 0xAD},     {0x61C, 0x61C},
                             {0x200B, 0x200F}, {0x2028, 0x202E},  {0x2060, 0x206F}, {0xFEFF, 0xFEFF},
                             {0xFFF9, 0xFFFB}, {0xE0000, 0xE007F}};

bool is_shown_as_it_is(unsigned long character) {
    return std::ranges::none_of(
        kHidden, [&](const Range& range) { return range.first <= character && character <= range.last; });
}

}  // namespace

Refusals::Refusals(std::vector<std::string> several)
    : Refusal(*std::min_element(several.begin(), several.end())), texts(sorted(std::move(several))) {}

std::vector<std::string> Refusals::lines() const {
    const std::size_t shown = std::min(texts.size(), kShownTexts);
    std::vector<std::string> lines(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(shown));
    if (shown < texts.size()) lines.push_back("and " + std::to_string(texts.size() - shown) + " more");
    return lines;
}

void refuse_any(std::vector<std::string> texts) {
    if (!texts.empty()) throw Refusals(std::move(texts));
}

void refuse_system(const std::string& what, int error) {
    throw Refusal(what + ": " + std::system_category().message(error));
}

void refuse_crypto(const std::string& what) {
    const unsigned long code = ERR_get_error();
    ERR_clear_error();
    const char* reason = code == 0 ? nullptr : ERR_reason_error_string(code);
    throw Refusal(reason == nullptr ? what : what + ": " + reason);
}

std::string printable(const std::string& path) {
    static constexpr char kDigits[] = "0123456789ABCDEF";
    std::string shown;
    for (std::size_t at = 0; at < path.size();) {
        const auto* bytes = reinterpret_cast<const unsigned char*>(path.data()) + at;
        unsigned long character = 0;
        const int length = UTF8_getc(bytes, static_cast<int>(std::min<std::size_t>(path.size() - at, 4)), &character);
        if (length > 0 && is_shown_as_it_is(character)) {
            shown.append(path, at, static_cast<std::size_t>(length));
            at += static_cast<std::size_t>(length);
        } else {
            shown += {'\\', 'x', kDigits[*bytes >> 4U], kDigits[*bytes & 15U]};
            ++at;
        }
    }
    return shown;
}

}  // namespace vandrel_release
