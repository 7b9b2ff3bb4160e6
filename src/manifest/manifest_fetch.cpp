#include "manifest/manifest_fetch.h"

#include <span>
#include <string>

#include "base/failure.h"
#include "handshake/command_file.h"
#include "streaming/http_stream.h"

namespace vandrel {

namespace {

constexpr std::uint32_t kReadSize = 65536;

}  // namespace

Bytes fetch_manifest(const LaunchOptions& options) {
    const std::wstring url = options.update_url + L"?action=manifest&arch=" + options.arch;
    qm_streaming::ReadChunk read_chunk;
    std::wstring error;
    if (qm_streaming::open_http_stream(url, read_chunk, error) != qm_streaming::IoStatus::Ok) {
        throw Failure(std::move(error));
    }
    Bytes buffer(kReadSize);
    Bytes manifest;
    manifest.reserve(kLargestManifest);
    for (;;) {
        if (read_command(options) == kCancel) throw Failure(kCancelled);
        std::uint32_t count = 0;
        const qm_streaming::IoStatus status = read_chunk(buffer.data(), kReadSize, count, error);
        if (status == qm_streaming::IoStatus::EndOfStream) return manifest;
        const std::wstring text = error.empty() ? L"Manifesto excede limite ou transferencia incompleta." : error;
        const bool fits = manifest.size() + std::uint64_t{count} <= kLargestManifest;
        require(status == qm_streaming::IoStatus::Data && count > 0 && fits, text);
        append_bytes(manifest, std::span(buffer).first(count));
    }
}

}  // namespace vandrel
