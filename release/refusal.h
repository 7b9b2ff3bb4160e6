// The exceptions of the release tool: something was refused or failed, with texts of one line for the publisher.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

namespace vandrel_release {

struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// All that is wrong with something, as texts "PATH: WORDS" whose paths are printable(); kept in alphabetical order.
// what() is the first of them.
struct Refusals : Refusal {
    explicit Refusals(std::vector<std::string> several);

    // What a publisher is shown: the first 40 texts, then "and N more".
    std::vector<std::string> lines() const;

    std::vector<std::string> texts;  // one at least
};

// Throws Refusals if there are any.
void refuse_any(std::vector<std::string> texts);

// "`what`: the system's words for `error`", for a failed call of the operating system.
[[noreturn]] void refuse_system(const std::string& what, int error);

// "`what`: the oldest error of libcrypto's queue", which is emptied.
[[noreturn]] void refuse_crypto(const std::string& what);

// A path as it can stand in a message: control characters, characters that break lines, turn the direction of writing
// or can't be seen, and bytes that are no valid UTF-8 appear as \xNN, everything else as it is.
std::string printable(const std::string& path);

}  // namespace vandrel_release
