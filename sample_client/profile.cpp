#include "profile.h"

#include <windows.h>

#include <shlobj.h>

#include <array>
#include <fstream>
#include <random>
#include <stdexcept>

#include "text.h"

namespace sample_client {
namespace {

constexpr wchar_t kProfileVariable[] = L"VANDREL_SAMPLE_PROFILE";
constexpr wchar_t kJobVariable[] = L"VANDREL_SAMPLE_JOB";

std::wstring environment_value(const wchar_t* name) {
    std::array<wchar_t, 260> buffer{};
    const DWORD length = GetEnvironmentVariableW(name, buffer.data(), static_cast<DWORD>(buffer.size()));
    return length < buffer.size() ? std::wstring(buffer.data(), length) : std::wstring();
}

std::wstring random_job() {
    std::random_device source;  // the system's own generator
    std::wstring job;
    while (job.size() < 32) job += L"0123456789abcdef"[source() & 15];
    return job;
}

std::string utc_time() {
    SYSTEMTIME now{};
    GetSystemTime(&now);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04u-%02u-%02uT%02u:%02u:%02uZ", now.wYear, now.wMonth, now.wDay,
                  now.wHour, now.wMinute, now.wSecond);
    return text.data();
}

}  // namespace

Profile open_profile(const std::wstring& wanted) {
    std::array<wchar_t, MAX_PATH> roaming{};
    if (SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, 0, roaming.data()) < 0) {
        throw std::runtime_error("the roaming application data folder is unknown");
    }
    const std::wstring inherited = environment_value(kProfileVariable);
    Profile profile;
    profile.name = !wanted.empty() ? wanted : !inherited.empty() ? inherited : L"sample";
    profile.folder = std::filesystem::path(roaming.data()) / L"BrindlerQ3" / profile.name;
    profile.updater = profile.folder / L"updater";
    std::filesystem::create_directories(profile.updater);
    return profile;
}

JobFiles job_files(const Profile& profile, const std::wstring& job) {
    JobFiles files;
    files.job = job.empty() ? random_job() : job;
    files.status = profile.updater / (files.job + L".status.json");
    files.command = profile.updater / (files.job + L".command.json");
    return files;
}

void remember_job_for_restart(const Profile& profile, const JobFiles& files) {
    SetEnvironmentVariableW(kProfileVariable, profile.name.c_str());
    SetEnvironmentVariableW(kJobVariable, files.job.c_str());
}

std::wstring job_of_restart() {
    return environment_value(kJobVariable);
}

void note_start(const Profile& profile, bool recovered) {
    const std::wstring job = job_of_restart();
    std::ofstream log(profile.folder / L"client-started.log", std::ios::app | std::ios::binary);
    log << utc_time() << " pid=" << GetCurrentProcessId() << " job=" << (job.empty() ? "-" : to_utf8(job))
        << " argument=" << (recovered ? "--vandrel-update-recovered" : "-") << '\n';
}

}  // namespace sample_client
