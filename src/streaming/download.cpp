#include "streaming/download.h"

#include <windows.h>

#include <algorithm>
#include <vector>

#include "base/failure.h"
#include "base/sha256.h"
#include "base/unique_handle.h"
#include "safefs/file_system.h"
#include "safefs/partial_files.h"
#include "safefs/path_guards.h"
#include "safefs/plain_files.h"
#include "safefs/windows_path.h"
#include "streaming/crc32.h"

namespace qm_streaming {

namespace {

using vandrel::fail;

constexpr DWORD kPartFlags = FILE_FLAG_SEQUENTIAL_SCAN | FILE_FLAG_OPEN_REPARSE_POINT | FILE_ATTRIBUTE_TEMPORARY;
constexpr std::uint32_t kLongestBackoffShift = 4;
constexpr std::uint32_t kSleepSliceMs = 50;
constexpr const wchar_t* kCancelledText = L"Download cancelado.";
constexpr const wchar_t* kTimeLimitText = L"Tempo total do download excedido.";

bool asked_to_cancel(const IsCancelled& is_cancelled) {
    return is_cancelled && is_cancelled();
}

// A partial file while it is being written. A failed attempt discards it; the destructor does so only when an exception
// passes through.
class PartFile {
 public:
    explicit PartFile(std::wstring path) : path_(std::move(path)) {}
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;
    ~PartFile() {
        if (owned_) discard();
    }

    bool create() {
        file_ =
            vandrel::FileHandle(CreateFileW(path_.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, kPartFlags, nullptr));
        owned_ = static_cast<bool>(file_);
        return owned_;
    }
    HANDLE handle() const { return file_.get(); }
    const std::wstring& path() const { return path_; }
    void close() { file_.reset(); }
    void promoted() { owned_ = false; }
    // Closes the handle and clears the name away, if a plain file stands there.
    void discard() {
        file_.reset();
        owned_ = false;
        vandrel::discard_temporary_file(path_);
    }

 private:
    std::wstring path_;
    vandrel::FileHandle file_;
    bool owned_ = false;
};

// How an attempt ended. After `failed` the error is final, after `retry` the next attempt may cure it.
enum class Ending { completed, failed, retry };

// One call of streaming_download.
struct Download {
    const std::wstring& allowed_root;
    const std::wstring& destination;
    const std::uint64_t max_bytes;
    const ExpectedContent& expected;
    const DownloadOptions& options;
    const OpenStream& open_stream;
    const IsCancelled& is_cancelled;
    const OnProgress& on_progress;
    DownloadOutcome& outcome;
    std::wstring& error;
    std::uint64_t start = 0;
};

// What one attempt holds; released in reverse order, the part's clean-up last of all.
struct Attempt {
    explicit Attempt(std::wstring part_path) : part(std::move(part_path)) {}

    PartFile part;
    vandrel::Sha256 sha256;
    ReadChunk reader;
    std::vector<std::uint8_t> buffer;
    std::uint64_t received = 0;
    std::uint32_t crc = kCrc32Start;
    std::wstring error;
    bool retry = false;
};

bool out_of_time(const Download& download) {
    return GetTickCount64() - download.start > download.options.total_time_limit_ms;
}

// Records why no attempt may begin.
void give_up(Download& download) {
    download.outcome.cancelled = asked_to_cancel(download.is_cancelled);
    download.error = download.outcome.cancelled ? kCancelledText : kTimeLimitText;
}

bool start_hash(Attempt& attempt) {
    if (!attempt.sha256.open()) return fail(attempt.error, L"Falha ao iniciar SHA-256 incremental.");
    if (!attempt.sha256.prepare()) return fail(attempt.error, L"Falha ao preparar SHA-256 incremental.");
    if (!attempt.sha256.create()) return fail(attempt.error, L"Falha ao criar SHA-256 incremental.");
    return true;
}

bool accept_chunk(Download& download, Attempt& attempt, std::uint32_t count) {
    download.outcome.largest_read = std::max(download.outcome.largest_read, count);
    if (count > download.max_bytes || attempt.received > download.max_bytes - count) {
        return fail(attempt.error, L"Download excedeu o limite permitido.");
    }
    attempt.received += count;
    download.outcome.bytes_received += count;
    DWORD written = 0;
    if (WriteFile(attempt.part.handle(), attempt.buffer.data(), count, &written, nullptr) == 0 || written < count) {
        return fail(attempt.error, vandrel::windows_error_text(L"Falha ao gravar arquivo parcial", GetLastError()));
    }
    download.outcome.bytes_written += count;
    if (!attempt.sha256.update(attempt.buffer.data(), count)) {
        return fail(attempt.error, L"Falha no SHA-256 incremental.");
    }
    attempt.crc = update_crc32(attempt.crc, attempt.buffer.data(), count);
    if (download.on_progress) download.on_progress(attempt.received);
    return true;
}

bool read_all(Download& download, Attempt& attempt) {
    for (;;) {
        if (asked_to_cancel(download.is_cancelled)) {
            download.outcome.cancelled = true;
            return fail(attempt.error, kCancelledText);
        }
        if (out_of_time(download)) return fail(attempt.error, kTimeLimitText);
        std::uint32_t count = 0;
        const IoStatus status = attempt.reader(attempt.buffer.data(), kDownloadBufferSize, count, attempt.error);
        if (status == IoStatus::EndOfStream) return true;
        if (status != IoStatus::Data || count == 0 || count > kDownloadBufferSize) {
            attempt.retry = status == IoStatus::Retry;
            if (attempt.error.empty()) attempt.error = L"Leitura HTTP invalida.";
            return false;
        }
        if (!accept_chunk(download, attempt, count)) return false;
    }
}

bool matches_digests(const Download& download, Attempt& attempt, const vandrel::Digest& digest) {
    if (download.expected.sha256 != nullptr && digest != *download.expected.sha256) {
        return fail(attempt.error, L"SHA-256 incremental difere do manifesto.");
    }
    if (download.expected.crc32 != nullptr && crc32_text(attempt.crc) != *download.expected.crc32) {
        return fail(attempt.error, L"CRC32 incremental difere do manifesto.");
    }
    return true;
}

// Holds what has been received against what was expected, makes it durable, and gives it its name.
bool verify_and_promote(Download& download, Attempt& attempt) {
    if (download.expected.has_size && attempt.received != download.expected.size) {
        attempt.retry = true;
        return fail(attempt.error, L"Tamanho recebido difere do manifesto.");
    }
    if (FlushFileBuffers(attempt.part.handle()) == 0) {
        return fail(attempt.error, vandrel::windows_error_text(L"Falha ao persistir arquivo parcial", GetLastError()));
    }
    attempt.part.close();
    vandrel::Digest digest{};
    if (!attempt.sha256.finish(digest)) return fail(attempt.error, L"Falha ao finalizar SHA-256 incremental.");
    attempt.crc = ~attempt.crc;
    if (!matches_digests(download, attempt, digest)) {
        attempt.retry = true;
        return false;
    }
    if (!promote_part(download.allowed_root, attempt.part.path(), download.destination, attempt.error)) return false;
    attempt.part.promoted();
    download.outcome.size_matched = download.expected.has_size;
    download.outcome.sha256_matched = download.expected.sha256 != nullptr;
    download.outcome.crc32_matched = download.expected.crc32 != nullptr;
    download.outcome.sha256 = digest;
    download.outcome.crc32 = attempt.crc;
    download.outcome.completed = true;
    return true;
}

bool transfer(Download& download, Attempt& attempt) {
    if (!start_hash(attempt)) return false;
    attempt.buffer.assign(kDownloadBufferSize, 0);
    if (!read_all(download, attempt)) return false;
    attempt.reader = nullptr;  // closes the stream before the verification
    return verify_and_promote(download, attempt);
}

Ending run_attempt(Download& download, std::uint32_t number) {
    ++download.outcome.attempts_made;
    if (asked_to_cancel(download.is_cancelled) || out_of_time(download)) {
        give_up(download);
        return Ending::failed;
    }
    ReadChunk reader;
    std::wstring open_error;
    const IoStatus opened = download.open_stream(number, reader, open_error);
    if (opened != IoStatus::Ok) {
        download.error = open_error;
        return opened == IoStatus::Retry ? Ending::retry : Ending::failed;
    }
    Attempt attempt(make_part_path(download.destination));
    attempt.reader = std::move(reader);
    attempt.error = std::move(open_error);
    if (!attempt.part.create()) {
        download.error = vandrel::windows_error_text(L"Falha ao criar arquivo parcial unico", GetLastError());
        return Ending::failed;
    }
    if (transfer(download, attempt)) return Ending::completed;
    attempt.reader = nullptr;
    attempt.part.discard();
    download.error = attempt.error;
    return attempt.retry && !download.outcome.cancelled ? Ending::retry : Ending::failed;
}

bool pause(Download& download, std::uint32_t number) {
    ++download.outcome.retries;
    if (sleep_with_cancel(download.options.backoff_base_ms << std::min(number, kLongestBackoffShift),
                          download.is_cancelled)) {
        return true;
    }
    download.outcome.cancelled = true;
    return fail(download.error, kCancelledText);
}

bool prepare_folder(Download& download) {
    std::uint32_t folder_error = 0;
    if (vandrel::try_create_directories(vandrel::parent_path(download.destination), folder_error) &&
        vandrel::validate_download_destination(download.allowed_root, download.destination, download.error)) {
        return true;
    }
    if (download.error.empty()) download.error = L"Falha ao criar pasta segura para download.";
    return false;
}

bool run(Download& download) {
    if (download.options.attempts == 0) return false;
    if (!vandrel::validate_download_destination(download.allowed_root, download.destination, download.error)) {
        return false;
    }
    if (!prepare_folder(download)) return false;
    remove_stale_parts(download.destination, download.options.stale_part_age_ms, download.outcome.stale_parts_removed);
    download.start = GetTickCount64();
    for (std::uint32_t number = 0; number < download.options.attempts; ++number) {
        const Ending ending = run_attempt(download, number);
        if (ending == Ending::completed) return true;
        const bool last = number + 1 == download.options.attempts;
        if (ending == Ending::failed || last || !pause(download, number)) return false;
    }
    return false;
}

}  // namespace

bool streaming_download(const std::wstring& allowed_root, const std::wstring& destination, std::uint64_t max_bytes,
                        const ExpectedContent& expected, const DownloadOptions& options, const OpenStream& open_stream,
                        const IsCancelled& is_cancelled, const OnProgress& on_progress, DownloadOutcome& outcome,
                        std::wstring& error) {
    outcome = DownloadOutcome{};
    Download download{allowed_root, destination,  max_bytes,   expected, options,
                      open_stream,  is_cancelled, on_progress, outcome,  error};
    return run(download);
}

bool sleep_with_cancel(std::uint32_t milliseconds, const IsCancelled& is_cancelled) {
    std::uint32_t slept = 0;
    while (slept < milliseconds) {
        if (asked_to_cancel(is_cancelled)) return false;
        const std::uint32_t slice = std::min(kSleepSliceMs, milliseconds - slept);
        Sleep(slice);
        slept += slice;
    }
    return !asked_to_cancel(is_cancelled);
}

}  // namespace qm_streaming
