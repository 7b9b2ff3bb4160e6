// How an operation of the file system fails when "missing" isn't the answer.
#pragma once

#include <cstdint>

namespace vandrel {

// Throws std::system_error: its text begins with the name of the operation, its code is the system's number. The texts
// reach nobody, since every exception that isn't a Failure is told to the player in the same words.
[[noreturn]] void throw_file_system_error(const char* operation, std::uint32_t error);

}  // namespace vandrel
