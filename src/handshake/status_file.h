// The status file: the one way to tell the client anything. docs/integrating.md has the document.
#pragma once

#include <cstdint>
#include <string>

#include "run/launch_options.h"

namespace vandrel {

inline constexpr std::size_t kLongestDetail = 1500;     // UTF-16 units; what is beyond is cut off
inline constexpr std::size_t kStatusSizeLimit = 16384;  // bytes; a document of this size is refused

// Replaces the status file with {"jobId","state","progress","detail","release","pendingFiles"} and a line feed;
// `progress` is clamped to 0..100, the release and the count of files are those of `options`. When this returns the
// document is durable. On failure, "Status muito grande." or what write_file_atomic throws, the earlier one stands.
void write_status(const LaunchOptions& options, const std::wstring& state, std::int32_t progress,
                  const std::wstring& detail);

// The JSON string of `text`, quotes included; a text that has no UTF-8 form becomes the empty string. Quote, backslash
// and bytes below 0x20 (as \u00xx) are escaped, nothing else.
std::string json_quote(const std::wstring& text);

}  // namespace vandrel
