#pragma once

#include <string_view>

#include "profile.h"

namespace sample_client {

// Publishes `command` ("apply" or "cancel") for the helper as the file of the job: a temporary sibling, flushed, takes
// the command file's name in one move, so that the helper sees the old command or the new one and never a part of one.
// A command that stands is replaced. Throws std::runtime_error if the file can't be written within two seconds.
void write_command(const JobFiles& files, std::string_view command);

}  // namespace sample_client
