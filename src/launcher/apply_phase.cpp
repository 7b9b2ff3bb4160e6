#include <exception>
#include <string>
#include <utility>

#include "base/failure.h"
#include "handshake/command_file.h"
#include "handshake/handoff_waits.h"
#include "handshake/process_inspection.h"
#include "handshake/progress_reporter.h"
#include "handshake/status_file.h"
#include "launcher/process_start.h"
#include "launcher/update_run.h"
#include "manifest/digests.h"
#include "run/places.h"
#include "safefs/file_system.h"
#include "safefs/path_guards.h"
#include "safefs/small_files.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"
#include "streaming/download.h"
#include "streaming/percent_encoding.h"
#include "transaction/install.h"
#include "transaction/recovery_record.h"
#include "transaction/roll_back.h"
#include "transaction/transaction_store.h"

namespace vandrel {

namespace {

// The downloads of one plan, one file after the other.
struct Staging {
    const LaunchOptions& options;
    const TransactionPlan& plan;
    const std::wstring folder;
    std::uint64_t total_bytes = 0;
    std::uint64_t done_bytes = 0;
    std::uint64_t last_report_tick = 0;
};

std::uint64_t size_of_files(const TransactionPlan& plan) {
    std::uint64_t size = 0;
    for (const PlanEntry& file : plan.files) size += plan.manifest.entries[file.manifest_index].size;
    return size;
}

std::wstring download_url(const Staging& staging, const ManifestEntry& entry) {
    return staging.options.update_url + L"?action=download&arch=" + staging.options.arch + L"&release=" +
           std::to_wstring(staging.plan.manifest.release) + L"&file=" + percent_encode(utf8_to_wide(entry.path));
}

void stage_file(Staging& staging, const ManifestEntry& entry) {
    const LaunchOptions& options = staging.options;
    const std::wstring staged = transaction_paths(options, staging.folder, entry).staged;
    ensure_safe_directory(parent_path(staged));
    const std::wstring url = download_url(staging, entry);
    qm_streaming::ExpectedContent expected;
    expected.has_size = true;
    expected.size = entry.size;
    expected.sha256 = &entry.sha256;
    const auto open_stream = [&url](std::uint32_t /*attempt*/, qm_streaming::ReadChunk& reader, std::wstring& text) {
        return qm_streaming::open_http_stream(url, reader, text);
    };
    const auto is_cancelled = [&options] { return is_cancel_requested(options); };
    const DownloadProgressReporter on_progress(staging.last_report_tick, staging.total_bytes, staging.done_bytes,
                                               entry.size, options);
    qm_streaming::DownloadOutcome outcome;
    std::wstring error;
    const bool downloaded = qm_streaming::streaming_download(options.client_root, staged, entry.size, expected,
                                                             qm_streaming::DownloadOptions{}, open_stream, is_cancelled,
                                                             on_progress, outcome, error);
    // Asked whatever the result: a transfer that a cancel broke off never reports the transport's words.
    const bool cancelled = is_cancel_requested(options);
    if (!downloaded) throw Failure(cancelled ? std::wstring(kCancelled) : std::move(error));
}

void stage_all(const LaunchOptions& options, const TransactionPlan& plan) {
    Staging staging{options, plan, transaction_folder(options, plan), size_of_files(plan)};
    for (const PlanEntry& file : plan.files) {
        if (is_cancel_requested(options)) throw Failure(kCancelled);
        const ManifestEntry& entry = plan.manifest.entries[file.manifest_index];
        stage_file(staging, entry);
        staging.done_bytes += entry.size;
    }
}

// Makes the transaction's folder and tags it, before a byte is downloaded. A failure leaves what it made to the sweep.
void begin_transaction(const LaunchOptions& options, const TransactionPlan& plan) {
    try {
        sweep_stale_transactions(options);
    } catch (...) {  // old folders wait for a later run
    }
    const std::wstring folder = transaction_folder(options, plan);
    ensure_safe_directory(join(folder, kStagedFiles));
    const SerializedTransaction record = serialize_transaction(plan);
    write_file_atomic(options.client_root, join(folder, kStagingRecord), record.pieces());
}

void stage_hand_over_install(const LaunchOptions& options, const TransactionPlan& plan, HANDLE client_process,
                             bool& handed_off) {
    write_status(options, L"downloading", 0, L"Baixando arquivos verificados...");
    stage_all(options, plan);
    // The last moment at which a cancel is heard before the client is told to close.
    if (is_cancel_requested(options)) throw Failure(kCancelled);
    write_status(options, L"handoff", 100, L"Arquivos verificados. Reiniciando o cliente...");
    handed_off = true;
    wait_for_client_exit(options, client_process);
    install_transaction(options, plan);
    write_status(options, L"current", 100, L"Atualizacao instalada.");
    relaunch_client(options, false);
}

// What a failure leaves of the transaction. Where the client's files may have changed, nothing is guarded: a failure
// here takes the place of the one that led here, and the record stays for the next start (4).
void take_back_or_discard(const LaunchOptions& options, const TransactionPlan& plan) {
    if (exists(active_record_path(options))) {
        ensure_no_other_client(options);
        roll_back_transaction(options, plan);
        return;
    }
    try {
        discard_transaction(options, plan);
    } catch (...) {  // the folder waits for the sweep
    }
}

// A client that was told to close must not be left closed; one that is still running is left alone.
void relaunch_closed_client(const LaunchOptions& options, HANDLE client_process) {
    if (client_process != nullptr && WaitForSingleObject(client_process, 0) != WAIT_OBJECT_0) return;
    try {
        relaunch_client(options, true);
    } catch (...) {  // the failure that led here is the one to tell
    }
}

}  // namespace

void apply_phase(const LaunchOptions& options, const TransactionPlan& plan, HANDLE client_process) {
    begin_transaction(options, plan);
    bool handed_off = false;
    try {
        stage_hand_over_install(options, plan, client_process, handed_off);
    } catch (...) {
        const std::exception_ptr captured = std::current_exception();
        take_back_or_discard(options, plan);
        if (handed_off) relaunch_closed_client(options, client_process);
        std::rethrow_exception(captured);
    }
}

}  // namespace vandrel
