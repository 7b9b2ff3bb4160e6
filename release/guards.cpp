#include "release/guards.h"

#include <map>
#include <string_view>
#include <unordered_set>

#include "release/copying.h"
#include "release/helper_image.h"
#include "release/key_file.h"
#include "release/name_conflicts.h"
#include "release/refusal.h"
#include "release/release_check.h"
#include "release/release_policy.h"
#include "release/tree.h"

namespace vandrel_release {
namespace {

namespace fs = std::filesystem;

// SHA-256 of the modulus of keys/development_public.pem.
constexpr Digest kDevelopmentKey{0x01, 0xbd, 0x2f, 0x75, 0xb1, 0x14, 0x9e, 0x08, 0x22, 0xe0, 0x04,
                                 0x7d, 0xce, 0xde, 0x1a, 0xbc, 0x3a, 0x9b, 0x0e, 0x30, 0x66, 0x9e,
                                 0xae, 0x34, 0x2d, 0xd2, 0x8b, 0xe3, 0xfe, 0xac, 0xbe, 0x49};

bool is_development_key(const Key& key) {
    return sha256_of(modulus_of(key)) == kDevelopmentKey;
}

// The names of a release's files, and of the folders that they need, as Windows compares them.
struct Names {
    std::unordered_set<std::string_view> paths;  // as spelled
    std::unordered_set<std::string> files;
    std::unordered_set<std::string> folders;

    explicit Names(const std::vector<ReleaseFile>& listed) {
        for (const ReleaseFile& file : listed) {
            paths.insert(file.path);
            std::string name = windows_name(file.path);
            for (std::size_t slash = name.find('/'); slash != std::string::npos; slash = name.find('/', slash + 1)) {
                folders.insert(name.substr(0, slash));
            }
            files.insert(std::move(name));
        }
    }
};

using TextByPath = std::map<std::string, std::string>;

// What a file of release `number` stands for, held against the names of the new one.
void compare_kind(const std::string& old_path, const std::string& number, const Names& names, TextByPath& texts) {
    const std::string hint = " in release " + number + " (see --allow-kind-change)";
    const std::string name = windows_name(old_path);
    if (names.folders.contains(name)) texts.emplace(old_path, "a folder here, a file" + hint);
    std::size_t end = old_path.find('/');  // the two may differ in length, but not in their number of separators
    for (std::size_t slash = name.find('/'); slash != std::string::npos; slash = name.find('/', slash + 1)) {
        if (names.files.contains(name.substr(0, slash))) {
            texts.emplace(old_path.substr(0, end), "a file here, a folder" + hint);
        }
        end = old_path.find('/', end + 1);
    }
}

const ReleaseFile* find_helper(const std::vector<ReleaseFile>& files) {
    const std::string name = windows_name(std::string(kHelperName));
    for (const ReleaseFile& file : files) {
        if (file.path.size() == name.size() && windows_name(file.path) == name) return &file;
    }
    return nullptr;
}

// What is wrong with a helper; nothing if it is as it should be.
std::vector<std::string> image_refusals(const fs::path& file, const Key& key, const Allowances& allowed) {
    const HelperImage image(file);
    std::vector<std::string> texts;
    if (allowed.helper_key.empty() && !image.holds_key(key)) {
        texts.emplace_back("does not hold the key of this release (see --helper-key)");
    }
    if (!allowed.helper_key.empty() && !image.holds_key(load_public_key(allowed.helper_key))) {
        texts.emplace_back("does not hold the key of --helper-key");
    }
    if (!allowed.url.empty()) {
        const auto endpoint = image.endpoint();
        if (!endpoint) texts.emplace_back("the endpoint that it asks cannot be told");
        if (endpoint && *endpoint != allowed.url) texts.push_back("asks " + *endpoint + ", not " + allowed.url);
    }
    return texts;
}

}  // namespace

std::vector<std::string> key_refusals(const fs::path& tree, const Key& key, const Allowances& allowed) {
    std::vector<std::string> texts;
    if (!allowed.development_key && is_development_key(key)) {
        texts.emplace_back(
            "this is the development key, whose private half everybody has (see --allow-development-key)");
    }
    const auto current = allowed.new_key ? std::nullopt : current_release(tree);
    if (current && !is_signed_with(key, manifest_of(tree, *current))) {
        texts.push_back("release " + std::to_string(*current) +
                        ", the current one, is signed with another key (see --new-key)");
    }
    return texts;
}

std::vector<std::string> spelling_refusals(const std::vector<ReleaseFile>& files) {
    const std::vector<std::string> clients = client_executables(std::string(kArch));
    std::vector<std::string> texts;
    for (const ReleaseFile& file : files) {
        for (const std::string& client : clients) {
            if (file.path.size() != client.size() || file.path == client || windows_name(file.path) != client) continue;
            texts.push_back(printable(file.path) + ": must be spelled " + client);
        }
    }
    return texts;
}

std::vector<std::string> kind_refusals(const fs::path& tree, const std::vector<ReleaseFile>& files) {
    std::vector<std::uint32_t> releases = releases_in(tree);
    if (releases.empty()) return {};
    const Names names(files);
    TextByPath texts;
    for (auto release = releases.rbegin(); release != releases.rend(); ++release) {
        for (const ReleaseFile& old : files_of_release(tree, *release)) {
            if (!names.paths.contains(old.path)) compare_kind(old.path, std::to_string(*release), names, texts);
        }
    }
    std::vector<std::string> refusals;
    for (const auto& [path, text] : texts) refusals.push_back(printable(path) + ": " + text);
    return refusals;
}

std::vector<std::string> helper_refusals(const fs::path& folder, const std::vector<ReleaseFile>& files, const Key& key,
                                         const Allowances& allowed) {
    const ReleaseFile* helper = find_helper(files);
    if (helper == nullptr) {
        if (allowed.without_helper) return {};
        return {"the folder holds no " + std::string(kHelperName) + " (see --without-helper)"};
    }
    std::vector<std::string> texts;
    try {
        texts = image_refusals(folder / helper->path, key, allowed);
    } catch (const Refusal& refusal) {
        texts.emplace_back(refusal.what());
    }
    for (std::string& text : texts) text.insert(0, printable(helper->path) + ": ");
    return texts;
}

}  // namespace vandrel_release
