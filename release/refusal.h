// The one exception of the release tool: something was refused or failed, with a text of one line for the publisher.
#pragma once

#include <stdexcept>
#include <string>

namespace vandrel_release {

struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// "`what`: `strerror(error)`", for a failed call of the operating system.
[[noreturn]] void refuse_system(const std::string& what, int error);

// "`what`: the oldest error of libcrypto's queue", which is emptied.
[[noreturn]] void refuse_crypto(const std::string& what);

// A path as it can stand in a message: control characters and bytes that are no valid UTF-8 appear as \xNN, everything
// else as it is.
std::string printable(const std::string& path);

}  // namespace vandrel_release
