// A whole update with a server and a command file that say anything. Until the client is told to close nothing has
// changed but the store; in the end each file is its old self or what the signed manifest says, and nothing is held.
#include "tests/fuzz/fuzz.h"

namespace {

// The manifest's entries, mostly of this client; sometimes any bytes at all.
std::string manifest_from(fuzz::Input& input, support::Files& release) {
    if (input.byte() == 1) return std::string(input.text());
    release = support::minimal_client();
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
    switch (input.byte()) {
        case 1:
            response.status = input.number(600);
            break;
        case 2:
            response.body.resize(input.number(300), 'x');
            break;
        case 3:
            response.break_at = input.number(300);
            break;
        case 4:
            response.send_error = 12002;
            break;
        case 5:
            response.chunk = 1 + input.byte();
            break;
        case 6:
            response.read_ms = input.number(20000);
            break;
        case 7:
            response.body = std::string(input.text());
            break;
        default:
            break;
    }
    return response;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Player player;
    fuzz::Input input(data, size);
    const support::Files before = player.folder();
    support::Files release;
    const std::string manifest = manifest_from(input, release);
    const auto handed_over = [&] { return !player.history().empty() && player.status().state == "handoff"; };
    player.world.network.serve([&](const winsim::Request& request) {
        fuzz::law(handed_over() || player.folder() == before, "nothing changes before the client is told to close");
        if (request.object.find(L"action=manifest") != std::wstring::npos) return answer_from(input, manifest);
        std::string path = support::narrow(request.object.substr(request.object.find(L"&file=") + 6));
        for (std::size_t at = 0; (at = path.find("%2F")) != std::string::npos;) path.replace(at, 3, "/");
        return answer_from(input, release.contains(path) ? release.at(path) : std::string());
    });
    player.on_state("update_available",
                    [&] { input.byte() == 1 ? player.write_command(std::string(input.text())) : player.say("apply"); });
    player.on_state("handoff", [&] {
        fuzz::law(player.folder() == before, "nothing has changed when the client is told to close");
        player.world.clock.after(input.number(60000), [&] { player.end_client(); });
    });
    player.update();
    for (const auto& [path, content] : player.folder()) {
        fuzz::law((before.contains(path) && before.at(path) == content) ||
                      (release.contains(path) && release.at(path) == content),
                  "each file is its old self or the release's");
    }
    return 0;
}
