#include "release/exchange.h"

#include <algorithm>
#include <map>
#include <vector>

#include "release/query.h"
#include "release/refusal.h"
#include "release/tree.h"
#include "release/utc_time.h"

namespace vandrel_release {
namespace {

using Members = std::map<std::string, std::string>;

bool has_exactly(const Members& members, const std::vector<std::string>& names) {
    return members.size() == names.size() &&
           std::all_of(names.begin(), names.end(), [&](const std::string& name) { return members.count(name) == 1; });
}

// Fills in the status, and the content if it is there.
void find_content(ServedTree& tree, const Members& query, Answer& answered) {
    const bool is_download = answered.what == "download";
    const bool is_complete = is_download ? has_exactly(query, {"action", "arch", "release", "file"})
                                         : has_exactly(query, {"action", "arch"});
    if (!is_complete || (is_download && !answered.release)) {
        answered.status = 400;
        return;
    }
    if (query.at("arch") == kArch) {
        answered.content = is_download ? tree.open_file(*answered.release, answered.path) : tree.open_manifest();
    }
    answered.status = answered.content ? 200 : 404;
    if (answered.content) answered.release = answered.content->release;
}

}  // namespace

Answer answer(ServedTree& tree, const std::string& target) {
    Answer answered{400, "request", std::nullopt, "", std::nullopt, ""};
    const std::optional<Members> query = parse_query(target);
    if (!query || query->count("action") == 0) return answered;
    const std::string& action = query->at("action");
    if (action != "manifest" && action != "download") {
        answered.status = 404;
        return answered;
    }
    answered.what = action;
    if (action == "download" && query->count("release") == 1 && query->count("file") == 1) {
        answered.release = parse_release_number(query->at("release"));
        answered.path = query->at("file");
    }
    try {
        find_content(tree, *query, answered);
    } catch (const std::exception& error) {
        answered.status = 500;
        answered.error = error.what();
    }
    return answered;
}

std::string format(const LogLine& line, std::int64_t unix_time) {
    std::string text = utc_time(unix_time) + " " + line.client + " " + std::to_string(line.status) + " " +
                       std::to_string(line.sent_bytes);
    if (line.sent_bytes != line.size_bytes) text += "/" + std::to_string(line.size_bytes);
    text += " " + line.what + " " + (line.release ? std::to_string(*line.release) : "-");
    return line.path.empty() ? text : text + " " + printable(line.path);
}

}  // namespace vandrel_release
