// The places of the helper's house, told from a path.
#pragma once

#include <string_view>

namespace interruption {

// "part" (a temporary file), "active", "staging", "backup", "staged", "store", "target" (a file of the client's or its
// folder), "root" (the client's folder), "status", "command", "copy" (the helper's temporary copy), "above" (a folder
// on the way to them), "none" (no path), "other".
std::string_view place_of(std::wstring_view path);

}  // namespace interruption
