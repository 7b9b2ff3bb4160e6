#include "status_document.h"

#include <windows.h>

#include <map>
#include <nlohmann/json.hpp>

namespace vandrel_client {
namespace {

constexpr DWORD kLargestDocument = 16383;  // the helper writes no longer one

std::optional<std::string> read_shared(const std::filesystem::path& file) {
    const HANDLE handle =
        CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return std::nullopt;
    std::string text(kLargestDocument, '\0');
    DWORD count = 0;
    const BOOL read = ReadFile(handle, text.data(), kLargestDocument, &count, nullptr);
    CloseHandle(handle);
    if (!read) return std::nullopt;
    text.resize(count);
    return text;
}

}  // namespace

std::optional<StatusDocument> parse_status(std::string_view text) {
    static const std::map<std::string, vandrel_state> kStates{{"checking", VANDREL_CHECKING},
                                                              {"update_available", VANDREL_UPDATE_AVAILABLE},
                                                              {"downloading", VANDREL_DOWNLOADING},
                                                              {"handoff", VANDREL_HANDOFF},
                                                              {"current", VANDREL_CURRENT},
                                                              {"cancelled", VANDREL_CANCELLED},
                                                              {"error", VANDREL_ERROR}};
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object()) return std::nullopt;
    try {
        StatusDocument status;
        json.at("jobId").get_to(status.job);
        status.state = kStates.at(json.at("state").get<std::string>());
        json.at("progress").get_to(status.progress);
        json.at("detail").get_to(status.detail);
        json.at("release").get_to(status.release);
        json.at("pendingFiles").get_to(status.pending_files);
        return status;
    } catch (const std::exception&) {  // a member or its type, or a state
        return std::nullopt;
    }
}

std::optional<StatusDocument> read_status(const std::filesystem::path& file, const std::string& job) {
    const std::optional<std::string> text = read_shared(file);
    if (!text) return std::nullopt;
    std::optional<StatusDocument> status = parse_status(*text);
    if (status && status->job != job) status.reset();
    return status;
}

}  // namespace vandrel_client
