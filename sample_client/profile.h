#pragma once

#include <filesystem>
#include <string>

namespace sample_client {

// The client's profile: the folder `BrindlerQ3\<name>` under the roaming application data. The helper accepts a status
// file in no other place than `BrindlerQ3\<name>\updater`.
struct Profile {
    std::wstring name;
    std::filesystem::path folder;   // ...\BrindlerQ3\<name>
    std::filesystem::path updater;  // ...\BrindlerQ3\<name>\updater
};

// The two JSON files of one job.
struct JobFiles {
    std::wstring job;               // 32 lower-case hexadecimal digits
    std::filesystem::path status;   // <job>.status.json, written by the helper
    std::filesystem::path command;  // <job>.command.json, written by the client
};

// Names the profile: `wanted`, or the inherited one if that is empty (see remember_job_for_restart), or "sample".
// Creates its folders. Throws std::runtime_error or std::filesystem::filesystem_error if that can't be done.
Profile open_profile(const std::wstring& wanted);

// The files of `job`, or of a fresh random job if it is empty. Creates nothing.
JobFiles job_files(const Profile& profile, const std::wstring& job);

// Puts profile and job into this process's environment. The helper and, through it, the client that it starts again
// inherit them: that is how a client started with no argument knows that it was the helper who started it.
void remember_job_for_restart(const Profile& profile, const JobFiles& files);

// The job in whose course the helper started this process again; empty for a start by a person.
std::wstring job_of_restart();

// Appends one line to `client-started.log` in the profile's folder:
//   <UTC time> pid=<number> job=<job_of_restart or "-"> argument=<"--vandrel-update-recovered" or "-">
void note_start(const Profile& profile, bool recovered);

}  // namespace sample_client
