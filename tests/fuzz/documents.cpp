// A signed manifest, a recovery record or a command file. What is accepted writes the same bytes again; a path that the
// policy accepts stays within the folder, and no two of them are one; a command is one for every reader of JSON.
#include <nlohmann/json.hpp>
#include <set>

#include "base/failure.h"
#include "handshake/command_file.h"
#include "manifest/manifest_policy.h"
#include "manifest/signed_manifest.h"
#include "release/manifest_format.h"
#include "release/refusal.h"
#include "safefs/path_guards.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"
#include "tests/fuzz/fuzz.h"
#include "transaction/recovery_record.h"

namespace {

void check_record(std::span<const std::uint8_t> bytes, const vandrel::LaunchOptions& options) {
    try {
        const vandrel::TransactionPlan plan = vandrel::parse_transaction({bytes.begin(), bytes.end()}, options);
        const vandrel::SerializedTransaction record = vandrel::serialize_transaction(plan);
        vandrel::Bytes again;
        for (const auto& piece : record.pieces()) again.insert(again.end(), piece.begin(), piece.end());
        fuzz::law(std::ranges::equal(again, bytes), "an accepted record writes itself");
    } catch (const vandrel::Failure& failure) {
        fuzz::law(!failure.message.empty(), "a refused record has a reason");
    }
}

void check_accepted_path(const std::string_view& utf8, std::set<std::wstring>& names) {
    const std::wstring path = vandrel::utf8_to_wide(utf8);
    fuzz::law(vandrel::wide_to_utf8(path) == utf8, "an accepted path is UTF-8");
    const std::wstring target = vandrel::join(support::kRoot, path);
    fuzz::law(vandrel::is_path_within(support::kRoot, target), "an accepted path lies within the folder");
    const std::wstring full = vandrel::absolute(target);
    fuzz::law(full.starts_with(std::wstring(support::kRoot) + L"\\") && full.size() == target.size(),
              "the platform takes an accepted path as it is written");
    fuzz::law(!vandrel::fold_case(full).starts_with(L"c:\\game\\.vandrel-updater"), "no accepted path is in the store");
    fuzz::law(names.insert(vandrel::fold_case(path)).second, "no path comes twice");
}

void check_manifest(std::span<const std::uint8_t> bytes, const vandrel::LaunchOptions& options) {
    std::vector<vandrel::ManifestEntry> entries;
    std::uint32_t release = 0;
    std::wstring error;
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    std::optional<vandrel_release::Listing> listed;  // as the publisher's tool reads it
    try {
        listed = vandrel_release::list_manifest(text);
    } catch (const vandrel_release::Refusal&) {  // then the helper refuses it, too
    }
    const bool accepted = vandrel::parse_signed_manifest(bytes, release, entries, error);
    fuzz::law(accepted == listed.has_value(), "helper and publisher read the same manifests");
    if (!accepted) return fuzz::law(!error.empty(), "a refused manifest has a reason");
    const auto all = [](const auto& file) { return std::tuple(std::string_view(file.path), file.size, file.sha256); };
    fuzz::law(release == listed->release && std::ranges::equal(listed->files, entries, {}, all, all), "and alike");
    const std::string range = vandrel_release::signed_range(release, listed->files);
    fuzz::law(vandrel_release::finished_manifest(range, text.substr(text.size() - 384)) == text, "it writes itself");
    std::set<std::wstring> names;
    if (vandrel::find_policy_breach(entries, release, options)) return;
    for (const vandrel::ManifestEntry& entry : entries) check_accepted_path(entry.path, names);
}

void check_command(std::string_view bytes, fuzz::Player& player, const vandrel::LaunchOptions& options) {
    player.write_command(std::string(bytes));
    player.world.disk.settle();  // or what is not durable would grow with each input
    const std::wstring command = vandrel::read_command(options);
    if (command.empty()) return;
    const nlohmann::json expected{{"jobId", support::narrow(player.job)}, {"command", support::narrow(command)}};
    fuzz::law(command == L"apply" || command == L"cancel", "there are two commands");
    fuzz::law(nlohmann::json::parse(bytes) == expected, "a command is JSON of two members");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::Player player;
    static const vandrel::LaunchOptions options = player.options();
    const winsim::World::Guard guard(player.world);
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (text.find('{') < 8) check_command(text, player, options);
    check_record({data, size}, options);
    check_manifest({data, size}, options);
    return 0;
}
