#include "streaming/http_stream.h"

#include "base/failure.h"

namespace qm_streaming {

namespace {

constexpr const wchar_t* kAgent = L"Vandrel-Updater-Streaming/1.0";
constexpr const wchar_t* kHeaders = L"Accept: application/octet-stream\r\nCache-Control: no-cache\r\n";
constexpr int kResolveTimeoutMs = 10000;
constexpr int kConnectTimeoutMs = 10000;
constexpr int kSendTimeoutMs = 15000;
constexpr int kReceiveTimeoutMs = 10000;
constexpr DWORD kWholeText = static_cast<DWORD>(-1);

struct Target {
    bool secure = false;
    INTERNET_PORT port = 0;
    std::wstring host;
    std::wstring object;  // path and query
};

IoStatus crack(const std::wstring& url, Target& target, std::wstring& error) {
    URL_COMPONENTS parts{};
    parts.dwStructSize = sizeof parts;
    parts.dwSchemeLength = kWholeText;
    parts.dwHostNameLength = kWholeText;
    parts.dwUrlPathLength = kWholeText;
    parts.dwExtraInfoLength = kWholeText;
    if (WinHttpCrackUrl(url.c_str(), 0, 0, &parts) == 0) {
        error = vandrel::windows_error_text(L"URL de download invalida", GetLastError());
        return IoStatus::Fatal;
    }
    // A second line: WinHttpCrackUrl itself refuses every other scheme.
    if (parts.nScheme != INTERNET_SCHEME_HTTP && parts.nScheme != INTERNET_SCHEME_HTTPS) {
        error = L"Esquema de download nao permitido.";
        return IoStatus::Fatal;
    }
    target.secure = parts.nScheme == INTERNET_SCHEME_HTTPS;
    target.port = parts.nPort;
    target.host.assign(parts.lpszHostName, parts.dwHostNameLength);
    target.object.assign(parts.lpszUrlPath, parts.dwUrlPathLength);
    target.object.append(parts.lpszExtraInfo, parts.dwExtraInfoLength);
    return IoStatus::Ok;
}

IoStatus retry(const wchar_t* context, std::wstring& error) {
    error = vandrel::windows_error_text(context, GetLastError());
    return IoStatus::Retry;
}

IoStatus open_request(const Target& target, WinHttpHandles& handles, std::wstring& error) {
    handles.session =
        WinHttpOpen(kAgent, WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, WINHTTP_NO_PROXY_NAME, WINHTTP_NO_PROXY_BYPASS, 0);
    if (handles.session == nullptr) return retry(L"WinHttpOpen", error);
    WinHttpSetTimeouts(handles.session, kResolveTimeoutMs, kConnectTimeoutMs, kSendTimeoutMs, kReceiveTimeoutMs);
    DWORD protocols = WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2;
    WinHttpSetOption(handles.session, WINHTTP_OPTION_SECURE_PROTOCOLS, &protocols, sizeof protocols);
    handles.connection = WinHttpConnect(handles.session, target.host.c_str(), target.port, 0);
    if (handles.connection == nullptr) return retry(L"WinHttpConnect", error);
    handles.request = WinHttpOpenRequest(handles.connection, L"GET", target.object.c_str(), nullptr, WINHTTP_NO_REFERER,
                                         WINHTTP_DEFAULT_ACCEPT_TYPES, target.secure ? WINHTTP_FLAG_SECURE : 0);
    if (handles.request == nullptr) return retry(L"WinHttpOpenRequest", error);
    return IoStatus::Ok;
}

IoStatus judge_status(DWORD code, std::wstring& error) {
    if (code == 200) return IoStatus::Ok;
    error = L"Servidor respondeu HTTP " + std::to_wstring(code) + L".";
    return code == 408 || code == 429 || code >= 500 ? IoStatus::Retry : IoStatus::Fatal;
}

IoStatus send_and_receive(const WinHttpHandles& handles, std::wstring& error) {
    if (WinHttpSendRequest(handles.request, kHeaders, kWholeText, WINHTTP_NO_REQUEST_DATA, 0, 0, 0) == 0 ||
        WinHttpReceiveResponse(handles.request, nullptr) == 0) {
        return retry(L"Falha HTTP no download", error);
    }
    DWORD code = 0;
    DWORD size = sizeof code;
    if (WinHttpQueryHeaders(handles.request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                            WINHTTP_HEADER_NAME_BY_INDEX, &code, &size, WINHTTP_NO_HEADER_INDEX) == 0) {
        return retry(L"Falha ao validar status HTTP", error);
    }
    return judge_status(code, error);
}

IoStatus read_body(const WinHttpHandles& handles, std::uint8_t* buffer, std::uint32_t capacity,
                   std::uint32_t& bytes_read, std::wstring& error) {
    bytes_read = 0;
    DWORD count = 0;
    if (WinHttpReadData(handles.request, buffer, capacity, &count) == 0) return retry(L"Download interrompido", error);
    bytes_read = count;
    return count > 0 ? IoStatus::Data : IoStatus::EndOfStream;
}

}  // namespace

WinHttpHandles::~WinHttpHandles() {
    for (const HINTERNET handle : {request, connection, session}) {
        if (handle != nullptr) WinHttpCloseHandle(handle);
    }
}

IoStatus open_http_stream(const std::wstring& url, ReadChunk& reader, std::wstring& error) {
    Target target;
    IoStatus status = crack(url, target, error);
    if (status != IoStatus::Ok) return status;
    const auto handles = std::make_shared<WinHttpHandles>();
    status = open_request(target, *handles, error);
    if (status == IoStatus::Ok) status = send_and_receive(*handles, error);
    if (status != IoStatus::Ok) return status;
    reader = [handles](std::uint8_t* buffer, std::uint32_t capacity, std::uint32_t& bytes_read, std::wstring& text) {
        return read_body(*handles, buffer, capacity, bytes_read, text);
    };
    return IoStatus::Ok;
}

}  // namespace qm_streaming
