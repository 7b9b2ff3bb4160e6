// What the rules say beside each deed of a neighbour, by when it falls.
#pragma once

#include <string>

#include "tests/interruption/fault_stories.h"

namespace interruption {

inline constexpr const char* kEdited = "edited by somebody else";

// One deed: what is done, to which file of the plan (empty: to none), before which call (0: through the whole visit).
struct Deed {
    std::string what;
    std::string file;
    Run run = Run::first;
    std::uint64_t call = 0;
};

// An undisturbed visit, with what its calls tell about times.
struct Story {
    explicit Story(const std::string& story_name)
        : name(story_name), disk(disk_of_story(story_name)), base(base_run(story_name, disk)) {}

    std::string name;  // "update" or "restoration"
    Snapshot disk;
    BaseRun base;
};

// Whether the call looks at the file's target in the client's folder, or changes it.
bool touches_target(const BaseCall& call, const std::string& file);

// When a deed to a file falls, told from the undisturbed visit.
enum class Window : std::uint8_t {
    before_plan,  // the copy hasn't looked at the file yet
    planning,     // while it looks: either way
    planned,      // the plan says what stood there
    proving,      // the checks before the change look at it: either way, until
    changed,      // the file has been replaced, added, put back or removed
    verifying,    // the final check looks at it: either way
    proved,       // nobody will look again
};
Window window_of(const Story& story, const Deed& deed);

// What is wrong with the last status, and with what has become of the neighbour's work. `done`: there was something to
// do the deed to; otherwise the visit must end as if nobody had come.
std::string wrong_words_beside(const Visit& visit, const Story& story, const Deed& deed, bool done, bool succeeded);

}  // namespace interruption
