// Results for programs: one JSON object, long lists in it written entry by entry.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace vandrel_release {

using Json = nlohmann::ordered_json;

struct JsonList {
    std::string name;
    std::size_t count = 0;
    std::function<Json(std::size_t)> entry;
};

// The members of `head` (one at least), then the lists, an entry a line. ASCII alone; bytes that are no valid UTF-8
// become U+FFFD.
void write_json(std::ostream& out, const Json& head, const std::vector<JsonList>& lists);

}  // namespace vandrel_release
