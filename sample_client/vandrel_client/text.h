#pragma once

#include <string>
#include <string_view>

namespace vandrel_client {

// UTF-16 to UTF-8 and back, for names, the console and the JSON files. What can't be converted gives an empty text.
std::string to_utf8(std::wstring_view text);
std::wstring to_wide(std::string_view text);

}  // namespace vandrel_client
