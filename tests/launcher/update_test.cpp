#include <gtest/gtest.h>

#include "tests/support/machine.h"

namespace support {
namespace {

Files release_two() {
    Files files = minimal_client();
    files["init.lua"] = "-- start 2, longer";
    files["data/new/deep/file.bin"] = std::string(200000, 'x');
    files["data/empty"] = "";
    files["Vandrel Updater.exe"] = "helper 2";
    return files;
}

TEST(Update, an_authorised_release_replaces_the_files_and_starts_the_client_again) {
    Machine machine;
    machine.install(minimal_client());
    machine.publish(2, release_two());
    machine.client_answers("apply");
    EXPECT_EQ(machine.update(), 0);
    EXPECT_EQ(machine.client_files(), release_two());
    EXPECT_EQ(machine.states(), (std::vector<std::string>{"checking", "update_available", "checking",
                                                          "update_available", "downloading", "handoff", "current"}));
    EXPECT_EQ(machine.store(), std::vector<std::wstring>{});
    ASSERT_EQ(machine.world.processes.starts().size(), 2U);
    EXPECT_EQ(machine.world.processes.starts()[1].command_line, L"\"C:\\Game\\brindler_dx_x64.exe\"");
}

}  // namespace
}  // namespace support
