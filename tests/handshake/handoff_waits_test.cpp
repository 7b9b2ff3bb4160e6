#include "handshake/handoff_waits.h"

#include <gtest/gtest.h>

#include "base/unique_handle.h"
#include "tests/support/direct.h"

namespace support {
namespace {

constexpr const wchar_t* kGone = L"Cliente encerrou sem autorizar atualizacao.";
constexpr const wchar_t* kNoAnswer = L"Tempo de autorizacao esgotado.";
constexpr const wchar_t* kStillThere = L"Cliente nao encerrou; atualizacao preservada sem instalar.";

using Wait = void (*)(const vandrel::LaunchOptions&, HANDLE);

class HandoffWaits : public testing::Test {
 protected:
    HandoffWaits()
        : start(machine.world.clock.tick_ms()),
          client(OpenProcess(0x101000, FALSE, machine.start_client())),
          options(machine.options()) {}

    std::wstring wait(Wait operation, bool watched = true) {
        start = machine.world.clock.tick_ms();
        return machine.refusal([&] { operation(options, watched ? client.get() : nullptr); });
    }
    std::uint64_t passed() const { return machine.world.clock.tick_ms() - start; }
    void after(std::uint64_t ms, std::function<void()> action) { machine.world.clock.after(ms, std::move(action)); }
    void say_after(std::uint64_t ms, const char* command) {
        after(ms, [this, command] { machine.say(command); });
    }

    DirectMachine machine;
    std::uint64_t start;
    vandrel::ObjectHandle client;
    vandrel::LaunchOptions options;
};

TEST_F(HandoffWaits, take_a_standing_answer_before_they_look_at_the_client) {
    machine.end_client();
    machine.say("apply");
    EXPECT_EQ(wait(vandrel::wait_for_authorization), L"");
    machine.say("cancel");
    EXPECT_EQ(wait(vandrel::wait_for_authorization), L"cancelled");
    EXPECT_EQ(passed(), 0U);
    EXPECT_TRUE(machine.calls("WaitForSingleObject").empty());
}

TEST_F(HandoffWaits, hear_the_answer_or_see_the_client_gone_at_the_next_poll_of_100_ms) {
    say_after(1050, "apply");
    EXPECT_EQ(wait(vandrel::wait_for_authorization), L"");
    EXPECT_EQ(passed(), 1100U);
    machine.forget_command();
    say_after(200, "cancel");
    EXPECT_EQ(wait(vandrel::wait_for_authorization), L"cancelled");
    EXPECT_EQ(passed(), 200U);
    machine.forget_command();
    after(150, [this] { machine.end_client(); });
    EXPECT_EQ(wait(vandrel::wait_for_authorization), kGone);
    EXPECT_EQ(passed(), 200U);
}

TEST_F(HandoffWaits, take_a_failed_look_at_the_client_for_its_end_only_before_the_authorisation) {
    Faults faults(machine.world);
    faults.add("WaitForSingleObject");
    EXPECT_EQ(wait(vandrel::wait_for_authorization), kGone);
    faults.add("WaitForSingleObject", L"", 6, kAlways);
    machine.world.gate.add_watcher([this](const winsim::Call& call, winsim::Moment moment) {
        if (call.name == "WaitForSingleObject" && moment == winsim::Moment::after) machine.world.clock.advance(10);
    });
    machine.world.gate.reset();
    EXPECT_EQ(wait(vandrel::wait_for_client_exit), kStillThere);
    EXPECT_EQ(passed(), 120000U);
    EXPECT_TRUE(machine.calls("Sleep").empty());
}

TEST_F(HandoffWaits, give_the_player_30_minutes_to_answer) {
    machine.world.gate.keep_trace(false);  // of 18000 polls
    machine.write_command(R"({"jobId":"another","command":"apply"})");
    EXPECT_EQ(wait(vandrel::wait_for_authorization, false), kNoAnswer);
    EXPECT_EQ(passed(), 1800000U);
    say_after(1799950, "apply");  // heard at the last poll, which is the one at the limit
    EXPECT_EQ(wait(vandrel::wait_for_authorization), L"");
    EXPECT_EQ(passed(), 1800000U);
    machine.forget_command();
    after(1799950, [this] { machine.end_client(); });  // which is looked at before the clock
    EXPECT_EQ(wait(vandrel::wait_for_authorization), kGone);
}

TEST_F(HandoffWaits, give_the_client_2_minutes_to_end) {
    machine.say("apply");
    EXPECT_EQ(wait(vandrel::wait_for_client_exit), kStillThere);
    EXPECT_EQ(passed(), 120000U);
    say_after(119950, "cancel");  // not looked for again
    EXPECT_EQ(wait(vandrel::wait_for_client_exit), kStillThere);
    machine.say("apply");
    after(120000, [this] { machine.end_client(); });  // within the last look of 100 ms
    EXPECT_EQ(wait(vandrel::wait_for_client_exit), L"");
    EXPECT_EQ(passed(), 120000U);
    EXPECT_TRUE(machine.calls("Sleep").empty());
}

TEST_F(HandoffWaits, hear_a_cancellation_until_the_client_has_ended_and_even_then) {
    EXPECT_EQ(wait(vandrel::wait_for_client_exit, false), L"");  // no client to watch
    EXPECT_EQ(passed(), 0U);
    say_after(950, "cancel");
    EXPECT_EQ(wait(vandrel::wait_for_client_exit), L"cancelled");
    EXPECT_EQ(passed(), 1000U);
    for (const bool watched : {false, true}) {
        EXPECT_EQ(wait(vandrel::wait_for_client_exit, watched), L"cancelled");
        EXPECT_EQ(passed(), 0U);
    }
    machine.say("apply");
    after(30, [this] {
        machine.say("cancel");
        machine.end_client();
    });
    EXPECT_EQ(wait(vandrel::wait_for_client_exit), L"cancelled");
    EXPECT_EQ(passed(), 30U);
}

}  // namespace
}  // namespace support
