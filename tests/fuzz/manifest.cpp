// A manifest that is accepted writes the same bytes again; a path that the policy accepts stays within the folder, and
// no two of them are one.
#include <set>

#include "manifest/manifest_policy.h"
#include "manifest/signed_manifest.h"
#include "safefs/path_guards.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"
#include "tests/fuzz/fuzz.h"

namespace {

using Entries = std::vector<vandrel::ManifestEntry>;

std::string written_again(std::uint32_t release, const Entries& entries, std::string_view signature) {
    std::vector<std::string> wire;
    for (const vandrel::ManifestEntry& entry : entries) {
        wire.push_back(support::wire_entry(std::string(entry.path), entry.size,
                                           std::string(entry.sha256.begin(), entry.sha256.end())));
    }
    return support::signed_range(release, wire) + "SIG1" + support::u16(384) + std::string(signature);
}

void check_accepted(const vandrel::ManifestEntry& entry) {
    const std::wstring path = vandrel::utf8_to_wide(entry.path);
    fuzz::law(vandrel::wide_to_utf8(path) == entry.path, "an accepted path is UTF-8");
    const std::wstring target = vandrel::join(support::kRoot, path);
    fuzz::law(vandrel::is_path_within(support::kRoot, target), "an accepted path lies within the folder");
    const std::wstring full = vandrel::absolute(target);
    fuzz::law(full.starts_with(std::wstring(support::kRoot) + L"\\") && full.size() == target.size(),
              "the platform takes an accepted path as it is written");
    fuzz::law(!vandrel::fold_case(full).starts_with(L"c:\\game\\.vandrel-updater"), "no accepted path is in the store");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::Player player;
    const winsim::World::Guard guard(player.world);
    Entries entries;
    std::uint32_t release = 0;
    std::wstring error;
    if (!vandrel::parse_signed_manifest({data, size}, release, entries, error)) {
        fuzz::law(!error.empty(), "a refused manifest has a reason");
        return 0;
    }
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    fuzz::law(written_again(release, entries, bytes.substr(size - 384)) == bytes, "an accepted manifest writes itself");
    if (vandrel::find_policy_breach(entries, release, player.options())) return 0;
    std::set<std::wstring> names;
    for (const vandrel::ManifestEntry& entry : entries) {
        check_accepted(entry);
        fuzz::law(names.insert(vandrel::fold_case(vandrel::utf8_to_wide(entry.path))).second, "no path comes twice");
    }
    return 0;
}
