// One file from a stream to its place: wholly and verified, or not at all.
#pragma once

#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "streaming/http_stream.h"

namespace qm_streaming {

struct DownloadOptions {
    std::uint32_t attempts = 3;                  // the first one included
    std::uint32_t total_time_limit_ms = 900000;  // 15 minutes for the whole call, pauses included
    std::uint32_t backoff_base_ms = 250;         // doubled after each attempt, up to sixteen-fold
    std::uint32_t stale_part_age_ms = 86400000;  // 24 hours
};

// What the file must be. A null pointer switches that comparison off.
struct ExpectedContent {
    bool has_size = false;
    std::uint64_t size = 0;
    const vandrel::Digest* sha256 = nullptr;
    const std::string* crc32 = nullptr;  // as crc32_text gives it
};

inline constexpr std::uint32_t kDownloadBufferSize = 65536;

// The operation's report; overwritten at its beginning.
struct DownloadOutcome {
    std::uint64_t bytes_received = 0;  // accepted from reads, over all attempts
    std::uint64_t bytes_written = 0;   // written to partial files, over all attempts
    std::uint32_t buffer_size = kDownloadBufferSize;
    std::uint32_t largest_read = 0;
    std::uint32_t attempts_made = 0;
    std::uint32_t retries = 0;  // pauses entered
    std::uint32_t stale_parts_removed = 0;
    bool cancelled = false;
    // The rest is set on success only.
    bool size_matched = false;
    bool sha256_matched = false;
    bool crc32_matched = false;
    bool completed = false;
    vandrel::Digest sha256{};
    std::uint32_t crc32 = 0;
};

// Streams a file to `destination` under `allowed_root`: into a partial file beside it, hashed as it is written,
// compared with `expected`, flushed, and promoted by one rename. At most `max_bytes` an attempt; every attempt starts
// from byte zero under a new name. `is_cancelled` and `on_progress` may be empty; exceptions of callbacks pass through.
// True: the verified file stands at `destination`, durable.
// False: the destination is what it was, no partial file of this call is left, and `error` is the reason:
//   retried: the stream's own text after `Retry`; "Tamanho recebido difere do manifesto.";
//     "SHA-256 incremental difere do manifesto."; "CRC32 incremental difere do manifesto."
//   not retried: the stream's text after `Fatal`; "Leitura HTTP invalida."; "Download excedeu o limite permitido.";
//     "Tempo total do download excedido."; "Download cancelado."; a refusal of validate_download_destination;
//     "Falha ao criar pasta segura para download."; "Falha ao criar arquivo parcial unico (Windows N)";
//     "Falha ao gravar arquivo parcial (Windows N)"; "Falha ao persistir arquivo parcial (Windows N)";
//     "Falha ao iniciar/preparar/criar/finalizar SHA-256 incremental."; "Falha no SHA-256 incremental.";
//     what promote_part says.
// Power cut: the destination is wholly old or wholly new; a partial file may stay for a later sweep.
bool streaming_download(const std::wstring& allowed_root, const std::wstring& destination, std::uint64_t max_bytes,
                        const ExpectedContent& expected, const DownloadOptions& options, const OpenStream& open_stream,
                        const IsCancelled& is_cancelled, const OnProgress& on_progress, DownloadOutcome& outcome,
                        std::wstring& error);

// Sleeps in slices of 50 ms at most, asking `is_cancelled` before each and once at the end. False if it said yes.
bool sleep_with_cancel(std::uint32_t milliseconds, const IsCancelled& is_cancelled);

}  // namespace qm_streaming
