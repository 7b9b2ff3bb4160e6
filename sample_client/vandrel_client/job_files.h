#pragma once

#include <filesystem>
#include <string>

namespace vandrel_client {

// The two JSON files of one job.
struct JobFiles {
    std::string profile;            // UTF-8
    std::string job;                // 32 lower-case hexadecimal digits
    std::filesystem::path folder;   // BrindlerQ3\<profile>\updater in the roaming application data: the helper accepts
                                    // a status file nowhere else
    std::filesystem::path status;   // <job>.status.json, written by the helper
    std::filesystem::path command;  // <job>.command.json, written by the client
};

// The files of `job`, or of a fresh random one if it is empty; makes their folder, and nothing in it.
// Throws ClientError: VANDREL_BAD_ARGUMENT, VANDREL_NO_PROFILE, VANDREL_FAILED.
JobFiles open_job(const std::string& profile, const std::string& job);

// Puts profile and job into this process's environment. The helper and, through it, the client that it starts again
// inherit them: that is how a client started with no argument knows that it was the helper who started it.
void remember_job(const JobFiles& files);

void forget_job();

// Takes what remember_job has left in the environment out of it. False if there is nothing.
bool take_remembered_job(std::string& profile, std::string& job);

// Removes every file of a job in `folder` whose helper has written a last state and whose files are a minute old, or
// whose files are a day old. What can't be removed stays for the next time; other files are left alone.
void remove_finished_jobs(const std::filesystem::path& folder);

}  // namespace vandrel_client
