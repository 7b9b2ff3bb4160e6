#pragma once

#include <string_view>

#include "job_files.h"

namespace vandrel_client {

// Publishes `command` ("apply" or "cancel") for the helper as the file of the job: a temporary sibling, flushed, takes
// the command file's name in one move, so that the helper sees the old command or the new one and never a part of one.
// A command that stands is replaced. Throws ClientError VANDREL_NO_COMMAND if that can't be done within two seconds:
// then it still stands.
void write_command(const JobFiles& files, std::string_view command);

}  // namespace vandrel_client
