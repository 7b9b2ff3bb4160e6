#include "launcher/temporary_helper.h"

#include <shellapi.h>

#include "launcher/process_start.h"
#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

const std::wstring kOldJob = L"00000000000000000000000000000a0F";

TEST(Quoting, every_text_comes_back_from_the_platforms_splitting) {
    winsim::World world;
    const winsim::World::Guard guard(world);
    std::vector<std::wstring> texts{L""};
    for (std::size_t i = 0; i < 1365; ++i) {  // all texts of up to five units
        for (const wchar_t unit : {L'a', L' ', L'\\', L'"'}) texts.push_back(texts[i] + unit);
    }
    for (const std::wstring& text : texts) {
        const std::wstring line =
            L"helper.exe " + vandrel::quote_argument(text) + L" /KEY=" + vandrel::quote_argument(text) + L" last";
        int count = 0;
        LPWSTR* arguments = CommandLineToArgvW(line.c_str(), &count);
        ASSERT_EQ(count, 4) << narrow(line);
        EXPECT_EQ(arguments[1], text);
        EXPECT_EQ(arguments[2], L"/KEY=" + text);
        EXPECT_EQ(arguments[3], std::wstring(L"last"));
        LocalFree(arguments);
    }
}

TEST(Relocation, the_copy_starts_hidden_in_the_clients_folder_with_its_own_command_line) {
    Job machine;
    const std::wstring renamed = L"C:\\Game\\renamed helper.exe";
    machine.world.disk.put(renamed, "helper of another name");
    const std::wstring stale = kHelpers + L"\\" + kOldJob + kCopyName;
    machine.world.disk.put(stale, "a copy of long ago", 0);
    at_call(machine.world, "CopyFileW", L"", winsim::Moment::before,
            [&] { EXPECT_FALSE(machine.world.disk.exists(stale)); });
    machine.say("apply");
    EXPECT_EQ(machine.run(machine.first_command_line(), renamed).exit_code, 0);
    EXPECT_FALSE(machine.world.disk.exists(stale));
    ASSERT_EQ(machine.world.processes.starts().size(), 1U);
    const winsim::Start& start = machine.world.processes.starts()[0];
    const std::wstring copy = kHelpers + L"\\" + machine.job + kCopyName;
    EXPECT_EQ(machine.world.disk.read(copy), "helper of another name");
    EXPECT_EQ(start.application, copy);
    EXPECT_EQ(start.command_line, L"\"" + copy + L"\" /CHECK /ARCH=64 /JOB=" + machine.job + L" /STATUS=\"" +
                                      machine.status_path() + L"\" /WAITPID=" + std::to_wstring(machine.client_pid) +
                                      L" /CLIENT=\"brindler_dx_x64.exe\" /RELOCATED /ROOT=\"C:\\Game\"");
    EXPECT_EQ(start.folder, kRoot);
    EXPECT_EQ(start.creation_flags, 0x08000000U);
    EXPECT_EQ(start.startup_flags, 1U);
    EXPECT_EQ(start.show, 0U);
    EXPECT_FALSE(start.inherit);
}

TEST(Relaunch, a_client_path_with_blanks_is_quoted_and_its_window_shown) {
    Job machine;
    vandrel::LaunchOptions options = machine.options();
    options.client_root = L"C:\\My Games\\Q 3";
    machine.world.disk.put(L"C:\\My Games\\Q 3\\brindler_dx_x64.exe", "client");
    EXPECT_EQ(refusal(machine.world, [&] { vandrel::relaunch_client(options, true); }), L"");
    const winsim::Start& start = machine.world.processes.starts().at(0);
    EXPECT_EQ(start.command_line, L"\"C:\\My Games\\Q 3\\brindler_dx_x64.exe\" --vandrel-update-recovered");
    EXPECT_EQ(start.folder, L"C:\\My Games\\Q 3");
    EXPECT_EQ(start.creation_flags, 0U);
    EXPECT_EQ(start.startup_flags, 0U);
}

TEST(Relocation, a_copy_that_already_stands_is_not_overwritten) {
    Job machine;
    machine.world.disk.put(kHelpers + L"\\" + machine.job + kCopyName, "an earlier copy");
    machine.say("apply");
    EXPECT_EQ(machine.run_first().exit_code, 1);
    EXPECT_TRUE(machine.detail().starts_with(L"Preparar auxiliar temporario (")) << machine.status_text();
    EXPECT_EQ(machine.world.disk.read(kHelpers + L"\\" + machine.job + kCopyName), "an earlier copy");
}

struct Stale {
    const char* name;
    std::function<void(winsim::World&, const std::wstring& folder)> arrange;  // behind a copy of exactly 24 hours
    bool copy_goes;
    bool folder_goes;
    std::wstring entry = kOldJob;
};

TEST(StaleHelpers, only_a_copy_of_24_hours_that_nobody_runs_goes) {
    const auto aged = [](std::int64_t ticks) {
        return [ticks](winsim::World& world, const std::wstring& folder) {
            const auto now = static_cast<std::int64_t>(world.clock.file_time());
            world.disk.set_write_time(folder + kCopyName, static_cast<std::uint64_t>(now - ticks));
        };
    };
    constexpr std::int64_t day = 864000000000;  // of 100 ns
    const auto nothing = [](winsim::World&, const std::wstring&) {};
    const std::vector<Stale> cases{
        {"24 hours", nothing, true, true},
        {"a tick less", aged(day - 1), false, false},
        {"a date in the future", aged(-1), false, false},
        {"31 digits", nothing, false, false, kOldJob.substr(1)},
        {"a digit that is none", nothing, false, false, L"g" + kOldJob.substr(1)},
        {"a further file", [](auto& world, auto& folder) { world.disk.put(folder + L"\\x", "x"); }, true, false},
        {"a copy that runs", [](auto& world, auto& folder) { world.processes.start(folder + kCopyName); }, false,
         false},
        {"a helper that runs elsewhere", [](auto& world, auto&) { world.processes.start(kHelper); }, true, true},
        {"a read-only copy", [](auto& world, auto& folder) { world.disk.set_attributes(folder + kCopyName, 1); }, false,
         false},
        {"a folder behind a junction",
         [](winsim::World& world, const std::wstring& folder) {
             world.disk.erase(folder);
             world.disk.put(L"C:\\Real" + kCopyName, "copy", 0);
             world.disk.make_junction(folder, L"C:\\Real");
         },
         false, false},
    };
    for (const Stale& stale : cases) {
        SCOPED_TRACE(stale.name);
        winsim::World world;
        const std::wstring folder = kHelpers + L"\\" + stale.entry;
        world.disk.put(folder + kCopyName, "copy", world.clock.file_time() - 864000000000U);
        stale.arrange(world, folder);
        EXPECT_EQ(refusal(world, [] { vandrel::remove_stale_helpers(); }), L"");
        EXPECT_EQ(!world.disk.exists(folder + kCopyName), stale.copy_goes);
        EXPECT_EQ(!world.disk.exists(folder), stale.folder_goes);
    }
}

TEST(StaleHelpers, the_first_256_entries_of_any_kind_are_looked_at) {
    for (const int files : {0, 255, 256}) {
        winsim::World world;
        const auto name = [](int i) {
            const std::wstring digits = std::to_wstring(i);
            return kHelpers + L"\\" + std::wstring(32 - digits.size(), L'0') + digits;
        };
        for (int i = 0; i < 300; ++i) world.disk.put(name(i) + (i < files ? L"" : kCopyName), "x", 0);
        EXPECT_EQ(refusal(world, [] { vandrel::remove_stale_helpers(); }), L"");
        for (int i = 0; i < 300; ++i) EXPECT_EQ(world.disk.exists(name(i)), i < files || i >= 256) << i;
    }
}

TEST(StaleHelpers, a_clean_up_that_fails_does_not_stop_the_relocation) {
    Job machine;
    machine.world.disk.put(kHelpers + L"\\" + kOldJob + kCopyName, "copy", 0);
    Faults faults(machine.world);
    faults.add("FindFirstFileW", L"VandrelUpdater", 5);
    machine.say("apply");
    EXPECT_EQ(machine.run_first().exit_code, 0);
    EXPECT_TRUE(faults.happened());
    EXPECT_EQ(machine.world.processes.starts().size(), 1U);
    EXPECT_EQ(refusal(machine.world,
                      [&] {
                          faults.add("FindFirstFileW", L"VandrelUpdater", 5);
                          vandrel::remove_stale_helpers();
                      }),
              L"[directory_iterator::directory_iterator]");
}

}  // namespace
}  // namespace support
