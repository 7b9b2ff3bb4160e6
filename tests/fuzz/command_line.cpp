// Whatever the command line says, the helper ends by itself, holds nothing, and has changed nothing but its own places.
// No server answers.
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Player player;
    fuzz::Input input(data, size);
    const std::wstring copy = player.world.temporary + L"VandrelUpdater\\" + player.job + L"\\Vandrel Updater.exe";
    const std::wstring image = input.byte() % 2 != 0 ? copy : player::kHelper;
    const std::wstring whole = player.first_command_line();
    const std::size_t program = whole.find(L" /");
    std::wstring line = whole.substr(0, program);
    while (!input.empty()) {
        const std::wstring piece = input.units(1 + input.number(64));
        line += piece == L"@" ? whole.substr(program) : piece;  // all switches of a valid line
    }
    const fuzz::Player::Outside before = player.outside();
    fuzz::Player::lawful(player.run(line.substr(0, line.find(L'\0')), image));
    fuzz::law(player.outside() == before && !player.store_exists(), "nothing but the helper's own has changed");
    return 0;
}
