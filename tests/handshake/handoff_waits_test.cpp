#include "handshake/handoff_waits.h"

#include <gtest/gtest.h>

#include "base/unique_handle.h"
#include "tests/support/direct.h"

namespace support {
namespace {

constexpr const wchar_t* kGone = L"Cliente encerrou sem autorizar atualizacao.";
constexpr const wchar_t* kNoAnswer = L"Tempo de autorizacao esgotado.";
constexpr const wchar_t* kStillThere = L"Cliente nao encerrou; atualizacao preservada sem instalar.";

constexpr auto kAnswer = vandrel::wait_for_authorization;
constexpr auto kExit = vandrel::wait_for_client_exit;
using Wait = void (*)(const vandrel::LaunchOptions&, HANDLE);

struct Waited {
    explicit Waited(Wait operation, bool watched = true) : wait(operation), is_watched(watched) {
        machine.world.gate.keep_trace(operation == kExit);  // the other one may poll 18000 times
    }

    std::wstring run() {
        const std::uint64_t start = machine.world.clock.tick_ms();
        const std::wstring text =
            machine.refusal([&] { wait(machine.options(), is_watched ? client.get() : nullptr); });
        passed = machine.world.clock.tick_ms() - start;
        EXPECT_TRUE(machine.calls("Sleep").empty());  // the wait for the client's end has no other pause
        return text;
    }

    Wait wait;
    bool is_watched;
    DirectMachine machine;
    vandrel::ObjectHandle client{OpenProcess(0x101000, FALSE, machine.start_client())};
    std::uint64_t passed = 0;
};

const struct {
    Wait wait;
    const char* standing;
    std::uint64_t at_ms;
    const char* command;  // given then
    bool ends;            // the client, behind it
    const wchar_t* text;
    std::uint64_t passed;
} kLooks[] = {{kAnswer, "apply", 0, "", true, L"", 0},
              {kAnswer, "cancel", 0, "", true, L"cancelled", 0},
              {kAnswer, "later", 0, "", true, kGone, 0},
              {kAnswer, "", 1050, "apply", false, L"", 1100},
              {kAnswer, "", 200, "cancel", false, L"cancelled", 200},
              {kAnswer, "", 150, "", true, kGone, 200},
              {kAnswer, "later", 0, "", false, kNoAnswer, 1800000},
              {kAnswer, "", 1799950, "apply", true, L"", 1800000},
              {kAnswer, "", 1799950, "", true, kGone, 1800000},
              {kExit, "apply", 0, "", false, kStillThere, 120000},
              {kExit, "apply", 119950, "cancel", false, kStillThere, 120000},
              {kExit, "apply", 120000, "", true, L"", 120000},
              {kExit, "apply", 950, "cancel", false, L"cancelled", 1000},
              {kExit, "cancel", 0, "", false, L"cancelled", 0},
              {kExit, "apply", 30, "cancel", true, L"cancelled", 30}};

TEST(HandoffWaits, look_at_the_command_then_at_the_client_then_at_the_clock) {
    for (const auto& row : kLooks) {
        Waited waited(row.wait);
        const auto event = [&] {
            if (*row.command != '\0') waited.machine.say(row.command);
            if (row.ends) waited.machine.end_client();
        };
        if (*row.standing != '\0') waited.machine.say(row.standing);
        if (row.at_ms == 0) event();
        if (row.at_ms != 0) waited.machine.world.clock.after(row.at_ms, event);
        EXPECT_EQ(waited.run(), row.text) << row.standing << " " << row.at_ms << row.command;
        EXPECT_EQ(waited.passed, row.passed) << row.standing << " " << row.at_ms << row.command;
    }
}

TEST(HandoffWaits, take_a_failed_look_at_the_client_for_its_end_only_before_the_authorisation) {
    for (const Wait wait : {kAnswer, kExit}) {
        Waited waited(wait);
        Faults faults(waited.machine.world);
        faults.add("WaitForSingleObject", L"", 6, kAlways);
        waited.machine.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
            if (call.name == "WaitForSingleObject" && moment == winsim::Moment::after) {
                waited.machine.world.clock.advance(10);
            }
        });
        EXPECT_EQ(waited.run(), wait == kAnswer ? kGone : kStillThere);
        EXPECT_EQ(waited.passed, wait == kAnswer ? 10U : 120000U);
    }
}

TEST(HandoffWaits, without_a_client_to_watch_pass_at_once_unless_cancelled) {
    Waited waited(kExit, false);
    EXPECT_EQ(waited.run(), L"");
    waited.machine.say("cancel");
    EXPECT_EQ(waited.run(), L"cancelled");
    EXPECT_EQ(waited.passed, 0U);
    EXPECT_TRUE(waited.machine.calls("WaitForSingleObject").empty());
    EXPECT_EQ(Waited(kAnswer, false).run(), kNoAnswer);
}

}  // namespace
}  // namespace support
