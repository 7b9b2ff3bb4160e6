#include "bench/floors/request.h"

#include "bench/floors/must.h"

namespace floors {

namespace {

constexpr const wchar_t* kHeaders = L"Accept: application/octet-stream\r\nCache-Control: no-cache\r\n";

// Where a request goes. Files come from one endpoint, so only a prescribed request takes its URL apart each time.
struct Target {
    std::wstring host;
    std::wstring object;
    INTERNET_PORT port = 0;
    std::size_t object_begin = 0;  // in the URL
};

void take_apart(const std::wstring& url, Target& target) {
    URL_COMPONENTS parts{};
    parts.dwStructSize = sizeof parts;
    parts.dwSchemeLength = static_cast<DWORD>(-1);
    parts.dwHostNameLength = static_cast<DWORD>(-1);
    parts.dwUrlPathLength = static_cast<DWORD>(-1);
    parts.dwExtraInfoLength = static_cast<DWORD>(-1);
    must(WinHttpCrackUrl(url.c_str(), 0, 0, &parts) != 0, "WinHttpCrackUrl");
    target.host.assign(parts.lpszHostName, parts.dwHostNameLength);
    target.port = parts.nPort;
    target.object_begin = static_cast<std::size_t>(parts.lpszUrlPath - url.c_str());
}

void set_options(HINTERNET session) {
    WinHttpSetTimeouts(session, 10000, 10000, 15000, 10000);
    DWORD protocols = WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2;
    WinHttpSetOption(session, WINHTTP_OPTION_SECURE_PROTOCOLS, &protocols, sizeof protocols);
}

}  // namespace

void Request::send(const std::wstring& url) {
    static Target target;
    if (calls_ == Calls::prescribed || target.host.empty()) take_apart(url, target);
    target.object.assign(url, target.object_begin);
    session_ = WinHttpOpen(L"Floor/1.0", WINHTTP_ACCESS_TYPE_DEFAULT_PROXY, nullptr, nullptr, 0);
    must(session_ != nullptr, "WinHttpOpen");
    if (calls_ == Calls::prescribed) set_options(session_);
    connection_ = WinHttpConnect(session_, target.host.c_str(), target.port, 0);
    must(connection_ != nullptr, "WinHttpConnect");
    request_ = WinHttpOpenRequest(connection_, L"GET", target.object.c_str(), nullptr, WINHTTP_NO_REFERER,
                                  WINHTTP_DEFAULT_ACCEPT_TYPES, WINHTTP_FLAG_SECURE);
    must(request_ != nullptr, "WinHttpOpenRequest");
    must(WinHttpSendRequest(request_, kHeaders, static_cast<DWORD>(-1), nullptr, 0, 0, 0) != 0, "WinHttpSendRequest");
}

void Request::receive() {
    must(WinHttpReceiveResponse(request_, nullptr) != 0, "WinHttpReceiveResponse");
    if (calls_ != Calls::prescribed) return;
    DWORD status = 0;
    DWORD size = sizeof status;
    must(WinHttpQueryHeaders(request_, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER, nullptr, &status, &size,
                             nullptr) != 0 &&
             status == 200,
         "the request");
}

DWORD Request::read(void* buffer, DWORD capacity) {
    DWORD count = 0;
    must(WinHttpReadData(request_, buffer, capacity, &count) != 0, "WinHttpReadData");
    return count;
}

void Request::close() {
    WinHttpCloseHandle(request_);
    WinHttpCloseHandle(connection_);
    WinHttpCloseHandle(session_);
}

}  // namespace floors
