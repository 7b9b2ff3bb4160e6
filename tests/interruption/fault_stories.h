// The visits that faults are put into, with each call's place in the rules.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/interruption/story.h"

namespace interruption {

// How far a visit has come, told from outside.
enum class Phase : std::uint8_t {
    launch,       // nothing written yet
    check,        // "checking"
    offered,      // "update_available"
    downloading,  // "downloading"
    handoff,      // "handoff", no active record of this visit's own
    recorded,     // the active record stands: install, or the roll-back of a restoration
    taking_back,  // the story's own failure has come, and the record stands
    done,         // it has gone
    told,         // the last status has been written
};
const char* name_of(Phase phase);

// One visit with its player, ready to run.
class FaultStory {
 public:
    FaultStory(const std::string& name, Snapshot disk);
    FaultStory(const FaultStory&) = delete;

    // The fault that is part of the story itself; 0 for none. Asked before every call.
    std::uint32_t own_fault(const winsim::Call& call);
    bool own_fault_came() const { return own_fault_came_; }
    Phase phase();  // asked at every call
    const std::string& name() const { return name_; }
    bool is_cancelled() const { return name_ == "cancelled" || name_ == "withdrawn"; }

    Visit visit;

 private:
    void cancel_during_third_file();

    std::string name_;
    int downloads_ = 0;
    bool seen_record_ = false;
    bool own_fault_came_ = false;
};

Snapshot disk_of_story(const std::string& name);

// One call of an undisturbed run of a story.
struct BaseCall {
    Run run = Run::first;
    std::uint64_t number = 0;
    std::string name;
    std::wstring subject;
    Phase phase = Phase::launch;
};

// All of them, and how many allocations the helper makes in each run, up to its last call.
struct BaseRun {
    std::vector<BaseCall> calls;
    std::uint64_t first_allocations = 0;
    std::uint64_t copy_allocations = 0;
};
BaseRun base_run(const std::string& story, const Snapshot& disk);

}  // namespace interruption
