// Whatever the command line says, the helper ends by itself, holds nothing, and has changed nothing of the client. No
// server answers.
#include "tests/fuzz/fuzz.h"

namespace {

constexpr std::string_view kWhole = "@";  // stands for all switches of a valid line

std::wstring line_of(fuzz::Input& input, const fuzz::Player& player) {
    const std::wstring whole = player.first_command_line();
    const std::size_t program = whole.find(L" /");
    std::wstring line = whole.substr(0, program);
    while (!input.empty()) {
        const std::string_view piece = input.take(1 + input.number(64));
        line += piece == kWhole ? whole.substr(program) : fuzz::widened(piece);
    }
    return line.substr(0, line.find(L'\0'));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Player player;
    fuzz::Input input(data, size);
    const bool relocated = input.byte() % 2 != 0;
    const std::wstring image =
        relocated ? L"C:\\Users\\Ana\\AppData\\Local\\Temp\\VandrelUpdater\\x\\Vandrel Updater.exe" : support::kHelper;
    const support::Files before = player.folder();
    const winsim::RunResult result = player.run(line_of(input, player), image);
    fuzz::law(result.end == winsim::RunResult::End::exited, "the helper ends by itself");
    fuzz::law(result.leaked_handles == 0 && result.leaked_blocks == 0, "the helper holds nothing");
    fuzz::law(player.folder() == before && !player.store_exists(), "nothing of the client has changed");
    return 0;
}
