#include <string>
#include <utility>

#include "base/failure.h"
#include "handshake/command_file.h"
#include "handshake/handoff_waits.h"
#include "handshake/status_file.h"
#include "launcher/temporary_helper.h"
#include "launcher/update_run.h"
#include "manifest/digests.h"
#include "manifest/manifest_fetch.h"
#include "manifest/manifest_policy.h"
#include "manifest/signed_manifest.h"
#include "safefs/file_system.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"

namespace vandrel {

namespace {

// `error` is one text for the whole check: what the digest of one file leaves in it is still there when a later file is
// measured, and is what the player then reads.
void load_manifest(LaunchOptions& options, Manifest& manifest, std::wstring& error) {
    manifest.storage = fetch_manifest(options);
    manifest.signed_bytes = manifest.storage;
    if (!parse_signed_manifest(manifest.signed_bytes, manifest.release, manifest.entries, error)) {
        throw Failure(std::move(error));
    }
    validate_manifest_policy(manifest.entries, manifest.release, options);
    options.release = manifest.release;
}

// What stands at `target` now. The text is chosen before the digest is taken: a message that the digest leaves doesn't
// reach the player.
void measure(const std::wstring& target, ManifestEntry& prior, std::wstring& error) {
    const std::wstring text = error.empty() ? L"Arquivo local nao pode ser verificado." : error;
    const bool measured = regular_file_size(target, prior.size) && prior.size <= kLargestFile &&
                          sha256_of_file(target, prior.sha256, error);
    require(measured, text);
}

// Plans every file of the release that the folder doesn't hold as it should be.
void plan_changes(const LaunchOptions& options, TransactionPlan& plan, std::wstring& error) {
    plan.files.reserve(plan.manifest.entries.size());
    for (std::size_t index = 0; index < plan.manifest.entries.size(); ++index) {
        if (read_command(options) == kCancel) throw Failure(kCancelled);
        const ManifestEntry& entry = plan.manifest.entries[index];
        const std::wstring target = join(options.client_root, utf8_to_wide(entry.path));
        if (file_matches_entry(target, entry, error)) continue;
        PlanEntry file;
        file.manifest_index = static_cast<std::uint32_t>(index);
        file.existed = exists(target);
        if (file.existed) measure(target, file.prior, error);
        plan.files.push_back(file);
    }
}

}  // namespace

void check_phase(LaunchOptions& options, HANDLE client_process) {
    TransactionPlan plan;
    std::wstring error;
    plan.job_id = options.job_id;
    load_manifest(options, plan.manifest, error);
    plan_changes(options, plan, error);
    options.file_count = plan.files.size();
    if (plan.files.empty()) {
        write_status(options, L"current", 100, L"Cliente atualizado.");
        return;
    }
    write_status(options, L"update_available", 0, L"Atualizacao disponivel.");
    wait_for_authorization(options, client_process);
    if (options.relocated) {
        apply_phase(options, plan, client_process);
    } else {
        relocate_to_temporary_helper(options);
    }
}

}  // namespace vandrel
