// One GET request to the update endpoint, read in chunks; synchronous WinHTTP.
#pragma once

#include <windows.h>

#include <winhttp.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace qm_streaming {

// The result of every streaming callback. `Retry` and `Fatal` come with an error text: another attempt may cure the
// one and can't cure the other.
enum class IoStatus { Ok = 0, Data = 1, EndOfStream = 2, Retry = 3, Fatal = 4 };

// Reads at most `capacity` bytes of the body into `buffer`. `Data` with `bytes_read` above 0, `EndOfStream` with 0, or
// `Retry` with "Download interrompido (Windows N)". Blocks for 10 s at most while the server stalls.
using ReadChunk = std::function<IoStatus(std::uint8_t* buffer, std::uint32_t capacity, std::uint32_t& bytes_read,
                                         std::wstring& error)>;
// Opens the stream for attempt number `attempt` (from 0): `Ok` with `reader`, or `Retry` or `Fatal` with `error`.
using OpenStream = std::function<IoStatus(std::uint32_t attempt, ReadChunk& reader, std::wstring& error)>;
using IsCancelled = std::function<bool()>;
using OnProgress = std::function<void(std::uint64_t received)>;

// The handles of one request, closed request first, then connection, then session. Shared by open_http_stream while it
// works and by the reader that it hands out: they stay open exactly as long as that reader lives.
struct WinHttpHandles {
    WinHttpHandles() = default;
    WinHttpHandles(const WinHttpHandles&) = delete;
    WinHttpHandles& operator=(const WinHttpHandles&) = delete;
    ~WinHttpHandles();

    HINTERNET session = nullptr;
    HINTERNET connection = nullptr;
    HINTERNET request = nullptr;
};

// Sends a GET for `url` (http or https) and, on status 200 alone, gives `Ok` with `reader`. TLS 1.2, time-outs of 10,
// 10, 15 and 10 s, the system's proxy and redirect policy; no cookies, no ranges. Otherwise `reader` is untouched, all
// handles are closed, and `error` is:
//   "URL de download invalida (Windows N)", "Esquema de download nao permitido."        Fatal
//   "WinHttpOpen (Windows N)", "WinHttpConnect (Windows N)", "WinHttpOpenRequest (Windows N)",
//   "Falha HTTP no download (Windows N)", "Falha ao validar status HTTP (Windows N)"     Retry
//   "Servidor respondeu HTTP <code>."    Retry for 408, 429 and from 500 on, else Fatal
IoStatus open_http_stream(const std::wstring& url, ReadChunk& reader, std::wstring& error);

}  // namespace qm_streaming
