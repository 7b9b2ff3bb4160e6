#include "start_log.h"

#include <windows.h>

#include <shlobj.h>

#include <array>
#include <filesystem>
#include <fstream>

#include "vandrel_client/text.h"

namespace sample_client {
namespace {

std::string utc_time() {
    SYSTEMTIME now{};
    GetSystemTime(&now);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04u-%02u-%02uT%02u:%02u:%02uZ", now.wYear, now.wMonth, now.wDay,
                  now.wHour, now.wMinute, now.wSecond);
    return text.data();
}

}  // namespace

void note_start(const std::string& profile, const std::string& job, bool recovered, const std::string& reason) {
    std::array<wchar_t, MAX_PATH> roaming{};
    if (SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, 0, roaming.data()) < 0) return;
    const auto folder = std::filesystem::path(roaming.data()) / L"BrindlerQ3" / vandrel_client::to_wide(profile);
    std::error_code ignored;
    std::filesystem::create_directories(folder, ignored);
    std::ofstream log(folder / L"client-started.log", std::ios::app | std::ios::binary);
    log << utc_time() << " pid=" << GetCurrentProcessId() << " job=" << (job.empty() ? "-" : job)
        << " argument=" << (recovered ? "--vandrel-update-recovered reason=" + reason : "-") << '\n';
}

}  // namespace sample_client
