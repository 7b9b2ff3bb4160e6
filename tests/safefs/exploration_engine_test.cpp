#include "winsim/explore/explore.h"

#include <gtest/gtest.h>
#include <windows.h>

namespace winsim::explore {
namespace {

constexpr const wchar_t* kFile = L"C:\\data\\file";

// A writer that breaks its promise: the file is neither old nor new while it is written.
void write_in_place() {
    HANDLE file = CreateFileW(kFile, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    if (file != INVALID_HANDLE_VALUE) WriteFile(file, "new", 3, &written, nullptr);
    CloseHandle(file);
}

std::string wrong_content(const Disk& disk) {
    const std::string content = disk.exists(kFile) ? disk.read(kFile) : "nothing";
    return content == "old" || content == "new" ? "" : std::to_string(content.size()) + " other bytes";
}

Scenario careless_writer() {
    Disk disk;
    disk.put(kFile, "old");
    const auto after_cut = [](const Snapshot& left, int) {
        Disk found;
        found.restore(left);
        return wrong_content(found);
    };
    return {
        "write", disk.snapshot(),
        [](const Snapshot& found, int number) { return std::make_unique<DirectRun>(found, number, write_in_place); },
        after_cut, [](Run& run, const Disturbance&, bool) { return wrong_content(run.world().disk); }};
}

TEST(Explore, finds_what_cuts_and_faults_break_and_each_line_of_its_report_replays_alone) {
    const Scenario scenario = careless_writer();
    Report report;
    sweep_cuts({scenario}, {}, report);
    sweep(scenario, {FailedCall{'p', 1, 5}, FailedCall{'p', 2, 112}}, report);
    EXPECT_EQ(report.violations(),
              "--replay write:p1a-0/0+kept   # 0 other bytes\n"
              "--replay write:p2=112   # 0 other bytes\n"
              "--replay write:p2a-0/0+torn   # 3 other bytes\n");
    EXPECT_EQ(replay(scenario, parse_schedule("p2=112")), "0 other bytes");
    EXPECT_EQ(replay(scenario, parse_schedule("p1b-0/0+kept")), "");
    EXPECT_THROW(replay(scenario, parse_schedule("p9b-0/0+kept")), std::invalid_argument);
}

TEST(Schedule, is_read_as_it_is_written_and_nothing_else_is) {
    for (const char* text : {"f117b-3/5+torn", "c12a-0/2+lost:c300i2-10111+kept", "c117=32", "c=n1234",
                             "c117@deleted,data/big.dat", "@scanner,3,200:f1b-0/0+kept"}) {
        std::string again;
        for (const Disturbance& disturbance : parse_schedule(text)) again += ":" + text_of(disturbance);
        EXPECT_EQ(again, std::string(":") + text);
    }
    for (const char* text :
         {"", "117b-0/0+kept", "c117", "c117x-0/0+kept", "c117b", "c117b-3+kept", "c117b-0/0", "c117b-a/b+kept",
          "c117i-0/0+kept", "c117=", "c117=32x", "c=1234", "c=n", "C117=32", "c117=32:"}) {
        EXPECT_THROW(parse_schedule(text), std::invalid_argument) << text;
    }
}

}  // namespace
}  // namespace winsim::explore
