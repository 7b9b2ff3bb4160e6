#include "release/release_policy.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "manifest/manifest_policy.h"
#include "release/refusal.h"
#include "run/launch_options.h"
#include "safefs/text_encoding.h"
#include "winsim/world.h"

namespace vandrel_release {
namespace {

constexpr std::string_view kClientMissing = "Manifesto sem init.lua ou backend selecionado.";
constexpr const wchar_t* kClientFolder = L"C:\\Client";

using Entries = std::vector<vandrel::ManifestEntry>;

// The names that the helper takes for "/CLIENT".
std::array<std::string, 2> client_names(const std::string& arch) {
    return {"brindler_dx_x" + arch + ".exe", "brindler_gl_x" + arch + ".exe"};
}

bool is_listed(const std::vector<ReleaseFile>& files, const std::string& name) {
    return std::any_of(files.begin(), files.end(), [&](const ReleaseFile& file) {
        return ::strcasecmp(file.path.c_str(), name.c_str()) == 0;  // as the helper compares
    });
}

std::vector<std::string> clients_in(const std::vector<ReleaseFile>& files, const std::string& arch) {
    std::vector<std::string> found;
    for (const std::string& name : client_names(arch)) {
        if (is_listed(files, name)) found.push_back(name);
    }
    if (found.empty()) throw Refusal("the folder holds no client executable");
    return found;
}

void check_for_client(const Entries& entries, std::uint32_t release, const vandrel::LaunchOptions& options) {
    const auto breach = vandrel::find_policy_breach(entries, release, options);
    if (!breach) return;
    const std::string reason = vandrel::wide_to_utf8(breach->text);
    if (breach->index) throw Refusal(printable(std::string(entries[*breach->index].path)) + ": " + reason);
    const bool client_missing = reason == kClientMissing;
    throw Refusal(client_missing ? vandrel::wide_to_utf8(options.client_executable) + ": " + reason : reason);
}

}  // namespace

void check_policy(const std::vector<ReleaseFile>& files, std::uint32_t release, const std::string& arch,
                  const std::vector<std::string>& clients) {
    const std::array<std::string, 2> known = client_names(arch);
    for (const std::string& name : clients) {
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            throw Refusal(printable(name) + ": no client executable of channel " + arch);
        }
    }
    Entries entries;  // views into `files`
    entries.reserve(files.size());
    for (const ReleaseFile& file : files) {
        entries.push_back({file.path, file.size, file.sha256});
    }
    winsim::World world;  // a machine with an empty client folder, for the part of the policy that looks at the disk
    world.disk.make_folder(kClientFolder);
    const winsim::World::Guard guard(world);
    const std::vector<std::string> wanted = clients.empty() ? clients_in(files, arch) : clients;
    vandrel::LaunchOptions options;
    options.arch = vandrel::utf8_to_wide(arch);
    options.client_executable = vandrel::utf8_to_wide(wanted.front());
    options.client_root = kClientFolder;
    check_for_client(entries, release, options);
    for (const std::string& client : wanted) {  // the policy's one rule that depends on the client
        if (!is_listed(files, client)) throw Refusal(client + ": " + std::string(kClientMissing));
    }
}

}  // namespace vandrel_release
