// A whole update with a server and a command file that say anything. Until the client is told to close nothing has
// changed but the helper's own places; in the end the folder is the old release, or the one that the manifest says.
#include "safefs/text_encoding.h"
#include "streaming/percent_encoding.h"
#include "tests/fuzz/fuzz.h"

namespace {

// The manifest of release 2, and mostly this client's files in it; sometimes any bytes at all.
std::string manifest_from(fuzz::Input& input, support::Files& release) {
    if (input.byte() == 1) return std::string(input.text());
    const std::string paths[] = {"init.lua", "data/things.dat", "data/a/b", "modules/new.lua", "Vandrel Updater.exe"};
    for (int count = input.byte() % 6; count > 0; --count) {
        const std::uint8_t which = input.byte();
        const std::string path = which < std::size(paths) ? paths[which] : std::string(input.take(input.byte() % 32));
        release[path] = std::string(input.take(input.byte()));
    }
    return support::signed_range(2, release) + "SIG1" + support::u16(384) + std::string(384, 's');
}

winsim::Response answer_from(fuzz::Input& input, std::string body) {
    winsim::Response response;
    response.body = std::move(body);
    const std::uint8_t kind = input.byte();
    if (kind == 1) response.status = input.number(600);
    if (kind == 2) response.body.resize(input.number(300), 'x');
    if (kind == 3) response.break_at = input.number(300);
    if (kind == 4) response.send_error = 12002;
    if (kind == 5) response.chunk = 1 + input.byte();
    if (kind == 6) response.read_ms = input.number(20000);
    if (kind == 7) response.body = std::string(input.text());
    return response;
}

std::string served(const winsim::Request& request, const support::Files& release) {
    for (const auto& [path, content] : release) {
        const std::wstring file = vandrel::percent_encode(vandrel::utf8_to_wide(path));
        if (request.object.ends_with(L"&file=" + file)) return content;
    }
    return {};
}

// How many of these files stand there whole, however their folders are spelled.
std::size_t standing(const fuzz::Player& player, const std::wstring& folder, const support::Files& files) {
    return static_cast<std::size_t>(std::ranges::count_if(files, [&](const auto& file) {
        const std::wstring path = folder + L"\\" + support::wide(file.first);
        return player.world.disk.exists(path) && player.world.disk.read(path) == file.second;
    }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Player player;
    fuzz::Input input(data, size);
    support::Files release = support::minimal_client();
    const std::string manifest = manifest_from(input, release);
    const fuzz::Player::Outside before = player.outside();
    const auto untouched = [&] { fuzz::law(player.outside() == before, "nothing changes before the hand-off"); };
    bool handed_over = false;
    player.world.network.serve([&](const winsim::Request& request) {
        if (!handed_over) untouched();
        const bool first = request.object.find(L"action=manifest") != std::wstring::npos;
        return answer_from(input, first ? manifest : served(request, release));
    });
    player.on_state("update_available", [&] {
        if (input.byte() != 1) return player.say("apply");
        player.write_command(std::string(input.text()));  // and soon, as a client may, something that ends the wait
        const bool agrees = input.byte() % 2 == 0;
        player.world.clock.after(500, [&player, agrees] { agrees ? player.say("apply") : player.end_client(); });
    });
    player.on_state("handoff", [&] {
        untouched();
        const std::wstring staged = player.transaction_folder() + L"\\files";
        fuzz::law(support::files_beneath(player.world.disk, staged).size() == standing(player, staged, release),
                  "no other is staged");
        handed_over = true;
        player.world.clock.after(input.number(2000), [&player] { player.end_client(); });
    });
    const bool copied = fuzz::Player::lawful(player.run_first()).exit_code == 0 && player.status().state != "current";
    const bool ended = copied && fuzz::Player::lawful(player.run_copy()).exit_code == 0;
    if (copied) fuzz::law(ended == (player.status().state == "current"), "0 means current");
    if (!handed_over) untouched();
    const support::Files& expected = player.status().state == "current" ? release : support::minimal_client();
    fuzz::law(standing(player, support::kRoot, expected) == expected.size(), "no file of the release is missing");
    fuzz::law(player.client_files().size() == expected.size(), "there is no other file");
    fuzz::law(player.world.disk.read(L"C:\\init.lua") == "nobody's", "what lies elsewhere is left alone");
    return 0;
}
