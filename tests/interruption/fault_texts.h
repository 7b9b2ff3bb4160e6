// What the rules say a fault must lead to: the last status's state and its exact text, by the call that failed.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tests/interruption/fault_stories.h"

namespace interruption {

struct FailedCall {
    const BaseCall& call;
    std::uint32_t error = 0;
    bool allocation = false;  // no call failed, but an allocation
};

// Whether `word` stands in `list`: words between blanks, one ending in "*" for all that begin so; "*": any word.
bool lists(std::string_view list, std::string_view word);

// Whether a status's text is `expected`, in which (L) at the end stands for any number with the system's words, and (w)
// for "(Windows <any number>)".
bool reads_like(const std::string& text, std::string_view expected);

// What is wrong with the last status, and with the exit code beside it.
std::string wrong_words(FaultStory& story, const FailedCall& failed, bool succeeded);

}  // namespace interruption
