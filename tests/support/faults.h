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

#include "base/failure.h"
#include "tests/support/machine.h"
#include "winsim/script.h"

namespace support {

using winsim::at_call;
using winsim::kAlways;

// The error of an injected fault unless another is asked for: no test's machine gives it by itself, so a message that
// carries it was composed behind the call.
inline constexpr std::uint32_t kDistinct = 1117;

// Scripted faults, with the words of the failures that they lead to.
class Faults : public winsim::FaultScript {
 public:
    explicit Faults(winsim::World& world) : FaultScript(world), world_(world) {}

    void add(std::string call, std::wstring part = L"", std::uint32_t error = kDistinct, int times = 1, int skip = 0) {
        FaultScript::add(std::move(call), std::move(part), error, times, skip);
    }
    // "<context> (N): <text>" with the fault's number, and with the last error from before the call.
    std::wstring text_after(const std::wstring& context, std::uint32_t error = kDistinct) const {
        const winsim::World::Guard guard(world_);
        return vandrel::system_error_text(context, error);
    }
    // `back` counts from the latest fault.
    std::wstring text_before(const std::wstring& context, std::size_t back = 0) const {
        return text_after(context, error_before(back));
    }

 private:
    winsim::World& world_;
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
