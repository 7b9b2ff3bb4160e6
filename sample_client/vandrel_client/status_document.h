#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "../vandrel_client.h"

namespace vandrel_client {

// One document of the status file. Texts are UTF-8; `detail` is ready for display.
struct StatusDocument {
    std::string job;
    vandrel_state state = VANDREL_STARTING;
    int progress = 0;  // per cent, 0 to 100
    std::string detail;
    uint32_t release = 0;        // 0 until the helper has learned it
    uint64_t pending_files = 0;  // files of the plan; doesn't count down
    bool operator==(const StatusDocument&) const = default;
};

// Takes one JSON object with the six members above. Unknown members are passed over; a missing or mistyped one, a state
// that no helper writes, or text that is no JSON, gives nothing.
std::optional<StatusDocument> parse_status(std::string_view text);

// Reads the file of `job`. Nothing if it isn't there (before the first write, or for an instant while it is being
// replaced), can't be read just now, or isn't a document of this job: the caller simply looks again later.
// The file is opened with full sharing, so that a look never gets in the way of the helper's replacement.
std::optional<StatusDocument> read_status(const std::filesystem::path& file, const std::string& job);

}  // namespace vandrel_client
