#include "release/request_head.h"

#include <strings.h>

#include <algorithm>

namespace vandrel_release {
namespace {

constexpr std::string_view kNameCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

bool is_control(char unit) {
    return (static_cast<unsigned char>(unit) < 0x20 && unit != '\t') || unit == 0x7F;
}

bool is_plain_field(const std::string& line) {
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos || colon == 0) return false;
    const std::string name = line.substr(0, colon);
    return name.find_first_not_of(kNameCharacters) == std::string::npos &&
           ::strcasecmp(name.c_str(), "Content-Length") != 0 && ::strcasecmp(name.c_str(), "Transfer-Encoding") != 0;
}

}  // namespace

void RequestHead::add(std::string_view bytes) {
    for (const char unit : bytes) {
        if (has_ended_) return;
        if (unit == '\n') {
            end_line();
        } else {
            line_ += unit;
        }
    }
}

void RequestHead::end_line() {
    const bool is_whole = line_.ends_with('\r');
    if (is_whole) line_.pop_back();
    has_ended_ = line_.empty();
    const bool is_field = lines_++ > 0 && !has_ended_;
    is_plain_ =
        is_plain_ && is_whole && std::ranges::none_of(line_, is_control) && (!is_field || is_plain_field(line_));
    line_.clear();
}

}  // namespace vandrel_release
