#include "release/commands/json_output.h"

#include <ostream>

namespace vandrel_release {
namespace {

std::string text_of(const Json& value) {
    return value.dump(-1, ' ', true, Json::error_handler_t::replace);
}

}  // namespace

void write_json(std::ostream& out, const Json& head, const std::vector<JsonList>& lists) {
    std::string members = text_of(head);
    members.pop_back();  // the brace
    out << members;
    for (const JsonList& list : lists) {
        out << ",\n" << text_of(list.name) << ":[";
        for (std::size_t i = 0; i < list.count; ++i) out << (i == 0 ? "\n" : ",\n") << text_of(list.entry(i));
        out << ']';
    }
    out << "}\n";
}

}  // namespace vandrel_release
