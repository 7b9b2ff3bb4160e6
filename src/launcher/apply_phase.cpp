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
#include "safefs/file_system.h"
#include "safefs/path_guards.h"
#include "safefs/small_files.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"
#include "streaming/download.h"
#include "transaction/install.h"
#include "transaction/recovery_record.h"
#include "transaction/roll_back.h"
#include "transaction/transaction_store.h"

namespace vandrel {

namespace {

// The downloads of one plan, one file after the other.
class Staging {
 public:
    Staging(const LaunchOptions& options, const TransactionPlan& plan)
        : options_(options), plan_(plan), folder_(transaction_folder(options, plan)) {
        for (const PlanEntry& file : plan.files) total_bytes_ += plan.manifest.entries[file.manifest_index].size;
    }

    void stage_all() {
        for (const PlanEntry& file : plan_.files) {
            if (is_cancel_requested(options_)) throw Failure(kCancelled);
            const ManifestEntry& entry = plan_.manifest.entries[file.manifest_index];
            stage(entry);
            done_bytes_ += entry.size;
        }
    }

 private:
    void stage(const ManifestEntry& entry);
    std::wstring url_of(const ManifestEntry& entry) const;

    const LaunchOptions& options_;
    const TransactionPlan& plan_;
    const std::wstring folder_;
    std::uint64_t total_bytes_ = 0;
    std::uint64_t done_bytes_ = 0;
    std::uint64_t last_report_tick_ = 0;
};

std::wstring Staging::url_of(const ManifestEntry& entry) const {
    return options_.update_url + L"?action=download&arch=" + options_.arch + L"&release=" +
           std::to_wstring(plan_.manifest.release) + L"&file=" + percent_encode(utf8_to_wide(entry.path));
}

void Staging::stage(const ManifestEntry& entry) {
    const std::wstring staged = transaction_paths(options_, folder_, entry).staged;
    ensure_safe_directory(parent_path(staged));
    const std::wstring url = url_of(entry);
    qm_streaming::ExpectedContent expected;
    expected.has_size = true;
    expected.size = entry.size;
    expected.sha256 = &entry.sha256;
    const auto open_stream = [&url](std::uint32_t /*attempt*/, qm_streaming::ReadChunk& reader, std::wstring& text) {
        return qm_streaming::open_http_stream(url, reader, text);
    };
    const auto is_cancelled = [this] { return is_cancel_requested(options_); };
    const DownloadProgressReporter on_progress(last_report_tick_, total_bytes_, done_bytes_, entry.size, options_);
    qm_streaming::DownloadOutcome outcome;
    std::wstring error;
    const bool downloaded = qm_streaming::streaming_download(options_.client_root, staged, entry.size, expected,
                                                             qm_streaming::DownloadOptions{}, open_stream, is_cancelled,
                                                             on_progress, outcome, error);
    // Asked whatever the result: a transfer that a cancel broke off never reports the transport's words.
    const bool cancelled = is_cancel_requested(options_);
    if (!downloaded) throw Failure(cancelled ? std::wstring(kCancelled) : std::move(error));
}

// Makes the transaction's folder and tags it, before a byte is downloaded. A failure leaves what it made to the sweep.
void begin_transaction(const LaunchOptions& options, TransactionPlan& plan) {
    try {
        sweep_stale_transactions(options);
    } catch (...) {  // old folders wait for a later run
    }
    const std::wstring folder = transaction_folder(options, plan);
    ensure_safe_directory(join(folder, L"files"));
    write_file_atomic(options.client_root, join(folder, L"staging.transaction"), serialize_transaction(plan));
}

void stage_hand_over_install(const LaunchOptions& options, TransactionPlan& plan, HANDLE client_process,
                             bool& handed_off) {
    write_status(options, L"downloading", 0, L"Baixando arquivos verificados...");
    Staging(options, plan).stage_all();
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

void apply_phase(const LaunchOptions& options, TransactionPlan& plan, HANDLE client_process) {
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
