#include "winsim/script.h"

#include <windows.h>

#include <exception>
#include <utility>

namespace winsim {

FaultScript::FaultScript(World& world) : world_(world) {
    world.gate.set_fault_rule([this](const Call& call) { return ask(call); });
}

FaultScript::~FaultScript() {
    world_.gate.set_fault_rule(nullptr);
}

void FaultScript::add(std::string call, std::wstring part, std::uint32_t error, int times, int skip) {
    faults_.push_back({std::move(call), std::move(part), error, times, skip});
}

std::uint32_t FaultScript::error_before(std::size_t back) const {
    return errors_before_.at(errors_before_.size() - 1 - back);
}

std::uint32_t FaultScript::ask(const Call& call) {
    for (Fault& fault : faults_) {
        if (fault.call != call.name || call.subject.find(fault.part) == std::wstring_view::npos) continue;
        if (fault.times == 0 || fault.skip-- > 0) continue;
        fault.skip = 0;
        --fault.times;
        errors_before_.push_back(world_.gate.last_error);
        return fault.error;
    }
    return 0;
}

void at_call(World& world, const char* name, std::wstring part, Moment when, std::function<void()> action) {
    world.gate.add_watcher([=, done = false](const Call& call, Moment moment) mutable {
        if (done || moment != when || call.name != name || !call.subject.ends_with(part)) return;
        done = true;
        action();
    });
}

void hold_for(World& world, const std::wstring& path, std::uint32_t share, std::uint64_t ms) {
    try {
        const int hold = world.disk.hold(path, GENERIC_READ, share);
        world.clock.after(ms, [&world, hold] { world.disk.release(hold); });
    } catch (const std::exception&) {  // nothing there, or not to be had
    }
}

void scan_new_names(World& world, std::uint32_t share, std::uint64_t ms,
                    std::function<bool(std::wstring_view path)> wants) {
    world.gate.add_watcher([=, &world, wants = std::move(wants)](const Call& call, Moment moment) {
        const bool named = call.name == "ReplaceFileW" || call.name == "MoveFileExW" || call.name == "CopyFileW" ||
                           call.name == "CreateDirectoryW";
        if (!named || moment != Moment::after || !wants(call.subject)) return;
        hold_for(world, std::wstring(call.subject), share, ms);
    });
}

bool flip_bit(Disk& disk, const std::wstring& path) {
    std::string content = disk.exists(path) && !disk.is_folder(path) ? disk.read(path) : std::string();
    if (content.empty()) return false;
    content[0] = static_cast<char>(content[0] ^ 1);
    disk.put(path, content);
    return true;
}

std::vector<std::string> traced_calls(const Gate& gate, std::string_view name) {
    std::vector<std::string> found;
    for (const std::string& line : gate.trace()) {
        const std::size_t begin = line.find(' ') + 1;
        const std::size_t end = line.find(' ', begin);
        if (line.substr(begin, end - begin) == name) found.push_back(line.substr(end + 1));
    }
    return found;
}

std::size_t open_cng_objects(const Gate& gate) {
    std::size_t open = 0;
    for (const char* call : {"BCryptOpenAlgorithmProvider", "BCryptCreateHash", "BCryptImportKeyPair"}) {
        for (const std::string& line : traced_calls(gate, call)) open += line.ends_with("-> 0") ? 1U : 0U;
    }
    for (const char* call : {"BCryptCloseAlgorithmProvider", "BCryptDestroyHash", "BCryptDestroyKey"}) {
        open -= traced_calls(gate, call).size();
    }
    return open;
}

}  // namespace winsim
