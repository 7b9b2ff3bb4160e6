#include "handshake/status_file.h"

#include <algorithm>

#include "base/failure.h"
#include "safefs/small_files.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"

namespace vandrel {

std::string json_quote(const std::wstring& text) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string quoted = "\"";
    for (const char byte : wide_to_utf8(text)) {
        const auto value = static_cast<unsigned char>(byte);
        if (byte == '"' || byte == '\\') {
            quoted += '\\';
            quoted += byte;
        } else if (value < 0x20) {
            quoted += "\\u00";
            quoted += kDigits[value >> 4];
            quoted += kDigits[value & 15];
        } else {
            quoted += byte;
        }
    }
    return quoted + '"';
}

void write_status(const LaunchOptions& options, const std::wstring& state, std::int32_t progress,
                  const std::wstring& detail) {
    std::string document = "{\"jobId\":" + json_quote(options.job_id);
    document += ",\"state\":" + json_quote(state);
    document += ",\"progress\":" + std::to_string(std::clamp(progress, 0, 100));
    document += ",\"detail\":" + json_quote(detail.substr(0, kLongestDetail));
    document += ",\"release\":" + std::to_string(options.release);
    document += ",\"pendingFiles\":" + std::to_string(options.file_count);
    document += "}\n";
    require(document.size() < kStatusSizeLimit, L"Status muito grande.");
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(document.data()), document.size());
    write_file_atomic(parent_path(options.status_path), options.status_path, {&bytes, 1});
}

}  // namespace vandrel
