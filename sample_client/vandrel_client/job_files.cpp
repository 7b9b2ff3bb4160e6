#include "job_files.h"

#include <windows.h>

#include <shlobj.h>

#include <algorithm>
#include <array>
#include <map>
#include <random>
#include <vector>

#include "client_error.h"
#include "status_document.h"
#include "text.h"

namespace vandrel_client {
namespace {

namespace fs = std::filesystem;

constexpr wchar_t kProfileVariable[] = L"VANDREL_UPDATE_PROFILE";
constexpr wchar_t kJobVariable[] = L"VANDREL_UPDATE_JOB";
constexpr size_t kJobLength = 32;
constexpr char kHexDigits[] = "0123456789abcdef";
constexpr std::chrono::minutes kOverAge{1};  // somebody may still want to read a last state
constexpr std::chrono::hours kForgottenAge{24};

bool is_job(const std::string& text) {
    return text.size() == kJobLength && text.find_first_not_of(kHexDigits) == std::string::npos;
}

// As a path's one element, in UTF-8 that can be converted.
bool names_a_folder(const std::string& text) {
    return !to_wide(text).empty() && text != "." && text != ".." &&
           text.find_first_of("\\/:*?\"<>|") == std::string::npos;
}

std::string random_job() {
    std::random_device source;  // the system's own generator
    std::string job;
    while (job.size() < kJobLength) job += kHexDigits[source() & 15];
    return job;
}

fs::path updater_folder(const std::string& profile) {
    std::array<wchar_t, MAX_PATH> roaming{};
    if (SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, 0, roaming.data()) < 0) throw ClientError(VANDREL_NO_PROFILE);
    fs::path folder = fs::path(roaming.data()) / L"BrindlerQ3" / to_wide(profile) / L"updater";
    std::error_code error;
    fs::create_directories(folder, error);
    if (error) throw ClientError(VANDREL_NO_PROFILE, static_cast<DWORD>(error.value()));
    return folder;
}

std::string variable(const wchar_t* name) {
    std::array<wchar_t, MAX_PATH> buffer{};
    const DWORD length = GetEnvironmentVariableW(name, buffer.data(), static_cast<DWORD>(buffer.size()));
    return length < buffer.size() ? to_utf8({buffer.data(), length}) : std::string();
}

struct OldJob {
    std::vector<fs::path> files;
    fs::file_time_type touched = fs::file_time_type::min();
};

// All that lies in the folder under a job's name: its two files, and what a crash has left of writing them.
std::map<std::string, OldJob> jobs_in(const fs::path& folder) {
    std::map<std::string, OldJob> jobs;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
        const std::string name = to_utf8(entry.path().filename().native());
        const std::string job = name.substr(0, kJobLength);
        if (!is_job(job) || name.size() == job.size() || name[kJobLength] != '.') continue;
        OldJob& found = jobs[job];
        found.files.push_back(entry.path());
        found.touched = std::max(found.touched, entry.last_write_time());
    }
    return jobs;
}

bool is_over(const fs::path& folder, const std::string& job, const OldJob& old) {
    const auto age = fs::file_time_type::clock::now() - old.touched;
    if (age < kOverAge) return false;
    const auto status = read_status(folder / (job + ".status.json"), job);
    return age >= kForgottenAge || (status && vandrel_is_last(status->state));
}

}  // namespace

JobFiles open_job(const std::string& profile, const std::string& job) {
    if (!names_a_folder(profile) || (!job.empty() && !is_job(job))) throw ClientError(VANDREL_BAD_ARGUMENT, 0);
    JobFiles files;
    files.profile = profile;
    files.job = job.empty() ? random_job() : job;
    files.folder = updater_folder(profile);
    files.status = files.folder / (files.job + ".status.json");
    files.command = files.folder / (files.job + ".command.json");
    return files;
}

void remember_job(const JobFiles& files) {
    SetEnvironmentVariableW(kProfileVariable, to_wide(files.profile).c_str());
    SetEnvironmentVariableW(kJobVariable, to_wide(files.job).c_str());
}

void forget_job() {
    SetEnvironmentVariableW(kProfileVariable, nullptr);
    SetEnvironmentVariableW(kJobVariable, nullptr);
}

bool take_remembered_job(std::string& profile, std::string& job) {
    profile = variable(kProfileVariable);
    job = variable(kJobVariable);
    forget_job();
    return names_a_folder(profile) && is_job(job);
}

void remove_finished_jobs(const fs::path& folder) try {
    for (const auto& [job, old] : jobs_in(folder)) {
        if (!is_over(folder, job, old)) continue;
        std::error_code ignored;
        for (const fs::path& file : old.files) fs::remove(file, ignored);
    }
} catch (const fs::filesystem_error&) {  // they wait for the next start
}

}  // namespace vandrel_client
