#include "release/release_policy.h"

#include <strings.h>

#include <algorithm>
#include <numeric>
#include <string_view>

#include "manifest/manifest_policy.h"
#include "release/name_conflicts.h"
#include "release/refusal.h"
#include "run/executables.h"
#include "run/launch_options.h"
#include "safefs/text_encoding.h"
#include "winsim/player/machine.h"
#include "winsim/world.h"

namespace vandrel_release {
namespace {

constexpr std::string_view kClientMissing = "Manifesto sem init.lua ou backend selecionado.";
constexpr const wchar_t* kClientFolder = L"C:\\Client";

bool is_listed(const std::vector<ReleaseFile>& files, const std::string& name) {
    return std::any_of(files.begin(), files.end(), [&](const ReleaseFile& file) {
        return ::strcasecmp(file.path.c_str(), name.c_str()) == 0;  // as the helper compares
    });
}

std::vector<std::string> clients_in(const std::vector<ReleaseFile>& files, const std::string& arch) {
    std::vector<std::string> found;
    for (const std::string& name : client_executables(arch)) {
        if (is_listed(files, name)) found.push_back(name);
    }
    return found;
}

// The helper on a machine with an empty client folder: part of its policy looks at the disk.
class Judge {
 public:
    Judge(const std::vector<ReleaseFile>& files, std::uint32_t release, const std::string& arch,
          const std::string& client)
        : files_(files), release_(release), guard_(world_) {
        world_.disk.make_folder(kClientFolder);
        options_.arch = vandrel::utf8_to_wide(arch);
        options_.client_executable = vandrel::utf8_to_wide(client);
        options_.client_root = kClientFolder;
    }

    // What it says of these files as a release of their own; `index` counts within them.
    std::optional<vandrel::PolicyBreach> ask(const std::vector<std::size_t>& which) const {
        std::vector<vandrel::ManifestEntry> entries;  // views into the files
        entries.reserve(which.size());
        for (const std::size_t index : which) {
            entries.push_back({files_[index].path, files_[index].size, files_[index].sha256});
        }
        return vandrel::find_policy_breach(entries, release_, options_);
    }

    // Its words for a file, alone or beside another one; empty if it has none that blame a file.
    std::string words_for(const std::vector<std::size_t>& which) const {
        const auto breach = ask(which);
        return breach && breach->index ? vandrel::wide_to_utf8(breach->text) : std::string();
    }

 private:
    const std::vector<ReleaseFile>& files_;
    std::uint32_t release_;
    winsim::World world_;
    winsim::World::Guard guard_;
    vandrel::LaunchOptions options_;
};

// The files of a release, of which one after the other is refused.
struct Verdicts {
    const std::vector<ReleaseFile>& files;
    const Judge& judge;
    std::vector<bool> refused = std::vector<bool>(files.size(), false);
    std::vector<PolicyRefusal> refusals = {};

    void refuse(std::size_t index, const std::string& words) {
        refused[index] = true;
        refusals.push_back({index, words});
    }

    std::vector<std::size_t> not_refused() const {
        std::vector<std::size_t> indices;
        indices.reserve(files.size());
        for (std::size_t index = 0; index < files.size(); ++index) {
            if (!refused[index]) indices.push_back(index);
        }
        return indices;
    }

    void ask_of_each() {
        for (std::size_t index = 0; index < files.size(); ++index) {
            if (const std::string words = judge.words_for({index}); !words.empty()) refuse(index, words);
        }
    }

    void ask_of_pairs() {
        for (const NameConflict& conflict : find_name_conflicts(files)) {
            if (refused[conflict.earlier] || refused[conflict.later]) continue;
            const std::string words = judge.words_for({conflict.earlier, conflict.later});
            refuse(conflict.later, words.empty() ? our_words(conflict) : words);
        }
    }

    std::string our_words(const NameConflict& conflict) const {
        const std::string other = printable(files[conflict.earlier].path);
        if (conflict.same_name) return "Windows takes this name and " + other + " for one";
        return files[conflict.earlier].path.size() < files[conflict.later].path.size()
                   ? "Windows takes a folder of this path and the file " + other + " for one"
                   : "Windows takes this file and a folder of " + other + " for one";
    }

    // What is left as a whole.
    void ask_of_the_rest(bool client_is_missing) {
        const std::vector<std::size_t> rest = not_refused();
        const auto breach = judge.ask(rest);
        if (!breach || rest.empty()) return;
        const std::string words = vandrel::wide_to_utf8(breach->text);
        if (breach->index) {
            refuse(rest[*breach->index], words);
        } else if (!client_is_missing) {
            refusals.push_back({std::nullopt, words});
        }
    }
};

}  // namespace

std::string PolicyRefusal::text(const std::vector<ReleaseFile>& files) const {
    return file ? printable(files[*file].path) + ": " + words : words;
}

std::vector<std::string> texts_of(const std::vector<PolicyRefusal>& refusals, const std::vector<ReleaseFile>& files) {
    std::vector<std::string> texts;
    texts.reserve(refusals.size());
    for (const PolicyRefusal& refusal : refusals) texts.push_back(refusal.text(files));
    return texts;
}

std::vector<std::string> client_executables(const std::string& arch) {
    std::vector<std::string> names;
    for (const std::wstring_view name : vandrel::kClientExecutables) {
        if (!vandrel::is_client_executable(name, player::wide(arch))) continue;
        names.push_back(player::narrow(std::wstring(name)));
    }
    return names;
}

void require_client_names(const std::vector<std::string>& clients, const std::string& arch) {
    const std::vector<std::string> known = client_executables(arch);
    for (const std::string& name : clients) {
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            throw Refusal(printable(name) + ": no client executable of channel " + arch);
        }
    }
}

std::vector<PolicyRefusal> policy_refusals(const std::vector<ReleaseFile>& files, std::uint32_t release,
                                           const std::string& arch, const std::vector<std::string>& clients) {
    const std::vector<std::string> wanted = clients.empty() ? clients_in(files, arch) : clients;
    const Judge judge(files, release, arch, wanted.empty() ? client_executables(arch).front() : wanted.front());
    Verdicts verdicts{files, judge};
    for (const std::string& client : wanted) {  // the policy's one rule that depends on the client
        if (is_listed(files, client) && is_listed(files, "init.lua")) continue;
        verdicts.refusals.push_back({std::nullopt, client + ": " + std::string(kClientMissing)});
    }
    if (wanted.empty()) {
        verdicts.refusals.push_back({std::nullopt, "the folder holds no client executable"});
    }
    const bool client_is_missing = !verdicts.refusals.empty();
    const bool accepted = !judge.ask(verdicts.not_refused());
    if (!accepted) verdicts.ask_of_each();
    verdicts.ask_of_pairs();
    if (!accepted) verdicts.ask_of_the_rest(client_is_missing);
    return std::move(verdicts.refusals);
}

}  // namespace vandrel_release
