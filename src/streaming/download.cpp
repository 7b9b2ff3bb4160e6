#include "streaming/download.h"

#include <windows.h>

#include <algorithm>
#include <vector>

#include "base/failure.h"
#include "base/sha256.h"
#include "base/unique_handle.h"
#include "safefs/file_system.h"
#include "safefs/path_guards.h"
#include "safefs/small_files.h"
#include "safefs/windows_path.h"
#include "streaming/crc32.h"
#include "streaming/partial_files.h"

namespace qm_streaming {

namespace {

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
class Download {
 public:
    Download(const std::wstring& allowed_root, const std::wstring& destination, std::uint64_t max_bytes,
             const ExpectedContent& expected, const DownloadOptions& options, const OpenStream& open_stream,
             const IsCancelled& is_cancelled, const OnProgress& on_progress, DownloadOutcome& outcome,
             std::wstring& error)
        : allowed_root_(allowed_root),
          destination_(destination),
          max_bytes_(max_bytes),
          expected_(expected),
          options_(options),
          open_stream_(open_stream),
          is_cancelled_(is_cancelled),
          on_progress_(on_progress),
          outcome_(outcome),
          error_(error) {}

    bool run();

 private:
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

    bool prepare_folder();
    bool may_begin_attempt();
    Ending run_attempt(std::uint32_t number);
    bool transfer(Attempt& attempt);
    bool start_hash(Attempt& attempt);
    bool read_all(Attempt& attempt);
    bool accept_chunk(Attempt& attempt, std::uint32_t count);
    bool verify(Attempt& attempt);
    bool matches_digests(Attempt& attempt, const vandrel::Digest& digest);
    bool pause(std::uint32_t number);
    bool out_of_time() const { return GetTickCount64() - start_ > options_.total_time_limit_ms; }

    const std::wstring& allowed_root_;
    const std::wstring& destination_;
    const std::uint64_t max_bytes_;
    const ExpectedContent& expected_;
    const DownloadOptions& options_;
    const OpenStream& open_stream_;
    const IsCancelled& is_cancelled_;
    const OnProgress& on_progress_;
    DownloadOutcome& outcome_;
    std::wstring& error_;
    std::uint64_t start_ = 0;
};

bool fail(std::wstring& error, std::wstring text) {
    error = std::move(text);
    return false;
}

bool Download::run() {
    if (options_.attempts == 0) return false;
    if (!vandrel::validate_download_destination(allowed_root_, destination_, error_)) return false;
    if (!prepare_folder()) return false;
    remove_stale_parts(destination_, options_.stale_part_age_ms, outcome_.stale_parts_removed);
    start_ = GetTickCount64();
    for (std::uint32_t number = 0; number < options_.attempts; ++number) {
        const Ending ending = run_attempt(number);
        if (ending == Ending::completed) return true;
        const bool last = number + 1 == options_.attempts;
        if (ending == Ending::failed || last || !pause(number)) return false;
    }
    return false;
}

bool Download::prepare_folder() {
    std::uint32_t folder_error = 0;
    if (vandrel::try_create_directories(vandrel::parent_path(destination_), folder_error) &&
        vandrel::validate_download_destination(allowed_root_, destination_, error_)) {
        return true;
    }
    if (error_.empty()) error_ = L"Falha ao criar pasta segura para download.";
    return false;
}

bool Download::may_begin_attempt() {
    if (!asked_to_cancel(is_cancelled_) && !out_of_time()) return true;
    outcome_.cancelled = asked_to_cancel(is_cancelled_);
    return fail(error_, outcome_.cancelled ? kCancelledText : kTimeLimitText);
}

Ending Download::run_attempt(std::uint32_t number) {
    ++outcome_.attempts_made;
    if (!may_begin_attempt()) return Ending::failed;
    ReadChunk reader;
    std::wstring open_error;
    const IoStatus opened = open_stream_(number, reader, open_error);
    if (opened != IoStatus::Ok) {
        error_ = open_error;
        return opened == IoStatus::Retry ? Ending::retry : Ending::failed;
    }
    Attempt attempt(make_part_path(destination_));
    attempt.reader = std::move(reader);
    attempt.error = std::move(open_error);
    if (!attempt.part.create()) {
        error_ = vandrel::windows_error_text(L"Falha ao criar arquivo parcial unico", GetLastError());
        return Ending::failed;
    }
    if (transfer(attempt)) return Ending::completed;
    attempt.reader = nullptr;
    attempt.part.discard();
    error_ = attempt.error;
    return attempt.retry && !outcome_.cancelled ? Ending::retry : Ending::failed;
}

bool Download::transfer(Attempt& attempt) {
    if (!start_hash(attempt)) return false;
    attempt.buffer.assign(kDownloadBufferSize, 0);
    if (!read_all(attempt)) return false;
    attempt.reader = nullptr;  // closes the stream before the verification
    return verify(attempt);
}

bool Download::start_hash(Attempt& attempt) {
    if (!attempt.sha256.open()) return fail(attempt.error, L"Falha ao iniciar SHA-256 incremental.");
    if (!attempt.sha256.prepare()) return fail(attempt.error, L"Falha ao preparar SHA-256 incremental.");
    if (!attempt.sha256.create()) return fail(attempt.error, L"Falha ao criar SHA-256 incremental.");
    return true;
}

bool Download::read_all(Attempt& attempt) {
    for (;;) {
        if (asked_to_cancel(is_cancelled_)) {
            outcome_.cancelled = true;
            return fail(attempt.error, kCancelledText);
        }
        if (out_of_time()) return fail(attempt.error, kTimeLimitText);
        std::uint32_t count = 0;
        const IoStatus status = attempt.reader(attempt.buffer.data(), kDownloadBufferSize, count, attempt.error);
        if (status == IoStatus::EndOfStream) return true;
        if (status != IoStatus::Data || count == 0 || count > kDownloadBufferSize) {
            attempt.retry = status == IoStatus::Retry;
            if (attempt.error.empty()) attempt.error = L"Leitura HTTP invalida.";
            return false;
        }
        if (!accept_chunk(attempt, count)) return false;
    }
}

bool Download::accept_chunk(Attempt& attempt, std::uint32_t count) {
    outcome_.largest_read = std::max(outcome_.largest_read, count);
    if (count > max_bytes_ || attempt.received > max_bytes_ - count) {
        return fail(attempt.error, L"Download excedeu o limite permitido.");
    }
    attempt.received += count;
    outcome_.bytes_received += count;
    DWORD written = 0;
    if (WriteFile(attempt.part.handle(), attempt.buffer.data(), count, &written, nullptr) == 0 || written < count) {
        return fail(attempt.error, vandrel::windows_error_text(L"Falha ao gravar arquivo parcial", GetLastError()));
    }
    outcome_.bytes_written += count;
    if (!attempt.sha256.update(attempt.buffer.data(), count)) {
        return fail(attempt.error, L"Falha no SHA-256 incremental.");
    }
    attempt.crc = update_crc32(attempt.crc, attempt.buffer.data(), count);
    if (on_progress_) on_progress_(attempt.received);
    return true;
}

bool Download::verify(Attempt& attempt) {
    if (expected_.has_size && attempt.received != expected_.size) {
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
    if (!matches_digests(attempt, digest)) {
        attempt.retry = true;
        return false;
    }
    if (!promote_part(allowed_root_, attempt.part.path(), destination_, attempt.error)) return false;
    attempt.part.promoted();
    outcome_.size_matched = expected_.has_size;
    outcome_.sha256_matched = expected_.sha256 != nullptr;
    outcome_.crc32_matched = expected_.crc32 != nullptr;
    outcome_.sha256 = digest;
    outcome_.crc32 = attempt.crc;
    outcome_.completed = true;
    return true;
}

bool Download::matches_digests(Attempt& attempt, const vandrel::Digest& digest) {
    if (expected_.sha256 != nullptr && digest != *expected_.sha256) {
        return fail(attempt.error, L"SHA-256 incremental difere do manifesto.");
    }
    if (expected_.crc32 != nullptr && crc32_text(attempt.crc) != *expected_.crc32) {
        return fail(attempt.error, L"CRC32 incremental difere do manifesto.");
    }
    return true;
}

bool Download::pause(std::uint32_t number) {
    ++outcome_.retries;
    if (sleep_with_cancel(options_.backoff_base_ms << std::min(number, kLongestBackoffShift), is_cancelled_)) {
        return true;
    }
    outcome_.cancelled = true;
    return fail(error_, kCancelledText);
}

}  // namespace

bool streaming_download(const std::wstring& allowed_root, const std::wstring& destination, std::uint64_t max_bytes,
                        const ExpectedContent& expected, const DownloadOptions& options, const OpenStream& open_stream,
                        const IsCancelled& is_cancelled, const OnProgress& on_progress, DownloadOutcome& outcome,
                        std::wstring& error) {
    outcome = DownloadOutcome{};
    Download download(allowed_root, destination, max_bytes, expected, options, open_stream, is_cancelled, on_progress,
                      outcome, error);
    return download.run();
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
