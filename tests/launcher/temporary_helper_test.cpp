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
    machine.say("apply");
    EXPECT_EQ(machine.run(machine.first_command_line(), renamed).exit_code, 0);
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

struct Stale {
    const char* name;
    Event event;  // behind a copy of exactly 24 hours
    bool copy_goes;
    bool folder_goes;
    std::wstring entry = kOldJob;
};

const std::wstring kOldFolder = kHelpers + L"\\" + kOldJob;
Event aged(const std::wstring& path, std::uint64_t ticks) {
    return [=](Machine& machine, Faults&) {
        machine.world.disk.set_write_time(path, machine.world.clock.file_time() - ticks);
    };
}
void protect(Machine& machine, Faults& /*faults*/) {
    machine.world.disk.set_attributes(kOldFolder + kCopyName, 1);
}

const std::vector<Stale> kStale{
    {"24 hours", nothing, true, true},
    {"a tick less", aged(kOldFolder + kCopyName, 864000000000 - 1), false, false},
    {"a date in the future", aged(kOldFolder + kCopyName, static_cast<std::uint64_t>(-1)), false, false},
    {"31 digits", nothing, false, false, kOldJob.substr(1)},
    {"a digit that is none", nothing, false, false, L"g" + kOldJob.substr(1)},
    {"a further file", file(kOldFolder + L"\\x", "x"), true, false},
    {"a copy that runs", runs(kOldFolder + kCopyName), false, false},
    {"a helper that runs elsewhere", runs(kHelper), true, true},
    {"a read-only copy", protect, false, false},
    {"a folder behind a junction",
     both(both(file(L"C:\\Real" + kCopyName, "copy"), aged(L"C:\\Real" + kCopyName, 864000000000)),
          junction(kOldFolder)),
     false, false},
};

TEST(StaleHelpers, only_a_copy_of_24_hours_that_nobody_runs_goes) {
    for (const Stale& stale : kStale) {
        SCOPED_TRACE(stale.name);
        Job machine;
        Faults faults(machine.world);
        const std::wstring folder = kHelpers + L"\\" + stale.entry;
        both(file(folder + kCopyName, "copy"), aged(folder + kCopyName, 864000000000))(machine, faults);
        stale.event(machine, faults);
        EXPECT_EQ(refusal(machine.world, [] { vandrel::remove_stale_helpers(); }), L"");
        EXPECT_EQ(!machine.world.disk.exists(folder + kCopyName), stale.copy_goes);
        EXPECT_EQ(!machine.world.disk.exists(folder), stale.folder_goes);
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

TEST(StaleHelpers, go_before_the_new_copy_comes_and_one_that_stays_stops_nothing) {
    for (const bool fails : {false, true}) {
        Job machine;
        const std::wstring old_copy = kHelpers + L"\\" + kOldJob + kCopyName;
        machine.world.disk.put(old_copy, "copy", 0);
        Faults faults(machine.world);
        if (fails) faults.add("FindFirstFileW", L"VandrelUpdater", 5);
        bool stands = false;
        at_call(machine.world, "CopyFileW", L"", winsim::Moment::before,
                [&] { stands = machine.world.disk.exists(old_copy); });
        machine.say("apply");
        EXPECT_EQ(machine.run_first().exit_code, 0);
        EXPECT_EQ(stands, fails);
        EXPECT_EQ(machine.world.processes.starts().size(), 1U);
    }
}

}  // namespace
}  // namespace support
