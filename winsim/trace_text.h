// How a call is written in a trace, for a person's eye.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace winsim {

// UTF-8; each unit is written by itself, also the two halves of a pair.
std::string readable(std::wstring_view units);

// "-> 1", "-> 0x10004", "-> 0xc000a000": signed results in decimal unless they are a status, the others in hexadecimal.
std::string outcome_text(std::int64_t value, bool hexadecimal);

}  // namespace winsim
