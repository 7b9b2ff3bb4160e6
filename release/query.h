// The query of a request to the update endpoint.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace vandrel_release {

// "%41" becomes "A"; everything else stays ("+" too). Nothing if a "%" isn't followed by two hexadecimal digits.
std::optional<std::string> percent_decode(std::string_view text);

// The members of the query behind "?" in a request target, decoded. Nothing if there is no query, a member has no "="
// or a broken escape, or a name comes twice.
std::optional<std::map<std::string, std::string>> parse_query(std::string_view target);

}  // namespace vandrel_release
