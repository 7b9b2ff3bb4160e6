// Failing calls of the simulated machine, and the words of failures.
//
//     Faults faults(machine.world);
//     faults.add("CopyFileW", L"VandrelUpdater");
//     EXPECT_EQ(machine.run_first().exit_code, 1);
//     EXPECT_EQ(detail(machine), faults.text_before(L"Preparar auxiliar temporario"));
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "base/failure.h"
#include "tests/support/machine.h"

namespace support {

// The error of an injected fault unless another is asked for: no test's machine gives it by itself, so a message that
// carries it was composed behind the call.
inline constexpr std::uint32_t kDistinct = 1117;

// Takes over the gate's fault rule until it is destroyed. Keeps the last errors from before the faults.
class Faults {
 public:
    explicit Faults(winsim::World& world) : world_(world) {
        world.gate.set_fault_rule([this](const winsim::Call& call) { return ask(call); });
    }
    ~Faults() { world_.gate.set_fault_rule(nullptr); }
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;

    // Calls named `call` on a subject that contains `part`: `skip` of them run, then `times` of them fail.
    void add(std::string call, std::wstring part = L"", std::uint32_t error = kDistinct, int times = 1, int skip = 0) {
        faults_.push_back({std::move(call), std::move(part), error, times, skip});
    }
    bool happened() const { return !before_.empty(); }

    // "<context> (N): <text>" with the fault's number, and with the last error from before the call.
    std::wstring text_after(const std::wstring& context, std::uint32_t error = kDistinct) const {
        const winsim::World::Guard guard(world_);
        return vandrel::system_error_text(context, error);
    }
    // `back` counts from the latest fault.
    std::wstring text_before(const std::wstring& context, std::size_t back = 0) const {
        return text_after(context, before_.at(before_.size() - 1 - back));
    }

 private:
    struct Fault {
        std::string call;
        std::wstring part;
        std::uint32_t error;
        int times;
        int skip;
    };

    std::uint32_t ask(const winsim::Call& call) {
        for (Fault& fault : faults_) {
            if (fault.call != call.name || call.subject.find(fault.part) == std::wstring_view::npos) continue;
            if (fault.times == 0 || fault.skip-- > 0) continue;
            fault.skip = 0;
            --fault.times;
            before_.push_back(world_.gate.last_error);
            return fault.error;
        }
        return 0;
    }

    winsim::World& world_;
    std::vector<Fault> faults_;
    std::vector<std::uint32_t> before_;
};

// What a failure is expected to say; known only once the faults have happened where its number is.
using Words = std::function<std::wstring(const Faults&)>;
inline Words text(std::wstring words) {
    return [words](const Faults&) { return words; };
}
// The context with the last error from before the fault; with the fault's own.
inline Words before(const wchar_t* context, std::size_t back = 0) {
    return [=](const Faults& faults) { return faults.text_before(context, back); };
}
inline Words after(const wchar_t* context, std::uint32_t error = kDistinct) {
    return [=](const Faults& faults) { return faults.text_after(context, error); };
}

// Does `action` once, at `when` of the first call of that name on a subject that ends in `part`.
inline void at_call(winsim::World& world, const char* name, std::wstring part, winsim::Moment when,
                    std::function<void()> action) {
    world.gate.add_watcher([=, done = false](const winsim::Call& call, winsim::Moment moment) mutable {
        if (done || moment != when || call.name != name || !call.subject.ends_with(part)) return;
        done = true;
        action();
    });
}

// Puts a junction to C:\Real in the place of whatever stands at `path`.
inline void redirect(winsim::World& world, const std::wstring& path) {
    world.disk.erase(path);
    world.disk.make_folder(L"C:\\Real");
    world.disk.make_junction(path, L"C:\\Real");
}

// How `action` ends when the helper's code is called directly: "" for a return, a Failure's message, or the operation
// of a file-system error in brackets.
template <class Action>
std::wstring refusal(winsim::World& world, Action action) {
    const winsim::World::Guard guard(world);
    try {
        action();
        return L"";
    } catch (const vandrel::Failure& failure) {
        return failure.message;
    } catch (const std::system_error& error) {
        const std::string text = error.what();
        return L"[" + wide(text.substr(0, text.rfind(": "))) + L"]";
    }
}

}  // namespace support
