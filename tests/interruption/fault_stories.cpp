#include "tests/interruption/fault_stories.h"

#include <array>

#include "tests/interruption/allocations.h"
#include "tests/interruption/oracle.h"

namespace interruption {

const char* name_of(Phase phase) {
    constexpr std::array<const char*, 9> names{"launch",   "check",       "offered", "downloading", "handoff",
                                               "recorded", "taking_back", "done",    "told"};
    return names.at(static_cast<std::size_t>(phase));
}

Snapshot disk_of_story(const std::string& name) {
    return name == "restoration" ? disk_with_interrupted_install() : disk_with_old_release();
}

FaultStory::FaultStory(const std::string& name, Snapshot disk) : visit(disk, kFirstVisit), name_(name) {
    support::Machine& machine = visit.machine;
    if (name == "cancelled") cancel_during_third_file();
    if (name == "withdrawn") machine.on_state("handoff", [&machine] { machine.say("cancel"); });
}

void FaultStory::cancel_during_third_file() {
    visit.machine.tamper = [this](const winsim::Request& request, winsim::Response&) {
        if (request.object.find(L"action=download") != std::wstring::npos && ++downloads_ == 3) {
            visit.machine.say("cancel");
        }
    };
}

// Replacing the last file of the plan that existed fails before it has begun.
std::uint32_t FaultStory::own_fault(const winsim::Call& call) {
    const bool due = name_ == "taken-back" && call.name == "ReplaceFileW" &&
                     call.subject == std::wstring(support::kRoot) + L"\\init.lua";
    own_fault_came_ = own_fault_came_ || due;
    return due ? 1175 : 0;
}

Phase FaultStory::phase() {
    seen_record_ = seen_record_ || (visit.run_now() == Run::copy && has_active_record(visit.machine.world.disk));
    const auto& history = visit.machine.history();
    if (history.empty()) return Phase::launch;
    const support::Status& last = history.back();
    if (last.state == "error" || last.state == "cancelled" || last.state == "current") return Phase::told;
    if (visit.run_now() == Run::copy) {
        std::size_t checks = 0;
        for (const support::Status& status : history) checks += status.state == "checking" ? 1 : 0;
        if (checks < 2) return Phase::launch;
        if (seen_record_ && !has_active_record(visit.machine.world.disk)) return Phase::done;
        if (last.state == "handoff" && has_active_record(visit.machine.world.disk)) {
            return own_fault_came_ ? Phase::taking_back : Phase::recorded;
        }
    }
    if (last.state == "checking") return Phase::check;
    if (last.state == "update_available") return Phase::offered;
    return last.state == "downloading" ? Phase::downloading : Phase::handoff;
}

BaseRun base_run(const std::string& name, const Snapshot& disk) {
    BaseRun base;
    FaultStory story(name, disk);
    winsim::Gate& gate = story.visit.machine.world.gate;
    AllocationCount count(gate, 0);
    std::uint64_t before_run = 0;
    story.visit.before_run = [&](Run run) {
        count.end();
        if (run == Run::copy) before_run = base.first_allocations;
    };
    gate.set_fault_rule([&story](const winsim::Call& call) { return story.own_fault(call); });
    gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        count.begin();
        const bool first = story.visit.run_now() == Run::first;
        (first ? base.first_allocations : base.copy_allocations) = count.counted() - before_run;
        if (moment != winsim::Moment::before) return;
        base.calls.push_back(
            {story.visit.run_now(), call.number, std::string(call.name), std::wstring(call.subject), story.phase()});
    });
    story.visit.run();
    return base;
}

}  // namespace interruption
