// What befalls a machine, as words for the rows of a table:
//
//     {"cancel when the client has closed", on("handoff", both(ends, says("cancel"))), text(L"Atualizacao cancelada.")}
#pragma once

#include <functional>
#include <string>
#include <utility>

#include "tests/support/faults.h"
#include "tests/support/machine.h"

namespace support {

// What may befall a machine before the helper runs, or at a moment of the run.
using Event = std::function<void(Machine&, Faults&)>;
inline void nothing(Machine& /*machine*/, Faults& /*faults*/) {}

inline Event failing(const char* call, const wchar_t* part = L"", std::uint32_t error = kDistinct, int times = 1,
                     int skip = 0) {
    return [=](Machine&, Faults& faults) { faults.add(call, part, error, times, skip); };
}
inline Event says(const char* command) {
    return [=](Machine& machine, Faults&) { machine.say(command); };
}
inline void ends(Machine& machine, Faults& /*faults*/) {
    machine.end_client();
}
inline Event runs(const std::wstring& image) {
    return [=](Machine& machine, Faults&) { machine.world.processes.start(image); };
}
inline Event file(const std::wstring& path, const std::string& content) {
    return [=](Machine& machine, Faults&) { machine.world.disk.put(path, content); };
}
inline Event gone(const std::wstring& path) {
    return [=](Machine& machine, Faults&) { machine.world.disk.erase(path); };
}
inline Event folder(const std::wstring& path) {
    return [=](Machine& machine, Faults&) {
        machine.world.disk.erase(path);
        machine.world.disk.make_folder(path);
    };
}
inline Event junction(const std::wstring& path) {
    return [=](Machine& machine, Faults&) { redirect(machine.world, path); };
}
inline Event answered(std::function<void(const winsim::Request&, winsim::Response&)> tamper) {
    return [=](Machine& machine, Faults&) { machine.tamper = tamper; };
}
inline Event both(Event first, Event second) {
    return [=](Machine& machine, Faults& faults) {
        first(machine, faults);
        second(machine, faults);
    };
}
// Later: when the status says so, and before or behind the first such call.
inline Event on(const char* state, Event event) {
    return [=](Machine& machine, Faults& faults) {
        machine.on_state(state, [=, &machine, &faults] { event(machine, faults); });
    };
}
inline Event ahead_of(const char* call, const wchar_t* part, Event event) {
    return [=](Machine& machine, Faults& faults) {
        at_call(machine.world, call, part, winsim::Moment::before, [=, &machine, &faults] { event(machine, faults); });
    };
}
inline Event behind(const char* call, const wchar_t* part, Event event) {
    return [=](Machine& machine, Faults& faults) {
        at_call(machine.world, call, part, winsim::Moment::after, [=, &machine, &faults] { event(machine, faults); });
    };
}

}  // namespace support
