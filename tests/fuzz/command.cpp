// The command file says "apply" or "cancel" only where every reader of JSON says so, of this job; anything else is no
// command, and no failure.
#include <nlohmann/json.hpp>

#include "handshake/command_file.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::Player player;
    const winsim::World::Guard guard(player.world);
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    player.write_command(bytes);
    player.world.disk.settle();  // or what is not durable would grow with each input
    const std::wstring command = vandrel::read_command(player.options());
    if (command.empty()) return 0;
    const nlohmann::json expected{{"jobId", support::narrow(player.job)}, {"command", support::narrow(command)}};
    fuzz::law(command == L"apply" || command == L"cancel", "there are two commands");
    fuzz::law(nlohmann::json::parse(bytes) == expected, "a command is JSON of two members");
    return 0;
}
