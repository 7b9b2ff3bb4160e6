// WinHTTP as the helper uses it: synchronous GET requests.
#pragma once

#include <windows.h>

using HINTERNET = void*;
using INTERNET_PORT = WORD;
using INTERNET_SCHEME = int;

#define INTERNET_SCHEME_HTTP 1
#define INTERNET_SCHEME_HTTPS 2
#define WINHTTP_ACCESS_TYPE_DEFAULT_PROXY 0U
#define WINHTTP_NO_PROXY_NAME nullptr
#define WINHTTP_NO_PROXY_BYPASS nullptr
#define WINHTTP_NO_REFERER nullptr
#define WINHTTP_DEFAULT_ACCEPT_TYPES nullptr
#define WINHTTP_NO_REQUEST_DATA nullptr
#define WINHTTP_HEADER_NAME_BY_INDEX nullptr
#define WINHTTP_NO_HEADER_INDEX nullptr
#define WINHTTP_OPTION_SECURE_PROTOCOLS 84U
#define WINHTTP_FLAG_SECURE_PROTOCOL_TLS1_2 0x800U
#define WINHTTP_FLAG_SECURE 0x00800000U
#define WINHTTP_QUERY_STATUS_CODE 19U
#define WINHTTP_QUERY_FLAG_NUMBER 0x20000000U

#define ERROR_WINHTTP_TIMEOUT 12002U
#define ERROR_WINHTTP_INVALID_URL 12005U
#define ERROR_WINHTTP_UNRECOGNIZED_SCHEME 12006U
#define ERROR_WINHTTP_NAME_NOT_RESOLVED 12007U
#define ERROR_WINHTTP_CANNOT_CONNECT 12029U
#define ERROR_WINHTTP_CONNECTION_ERROR 12030U
#define ERROR_WINHTTP_HEADER_NOT_FOUND 12150U
#define ERROR_WINHTTP_INVALID_SERVER_RESPONSE 12152U
#define ERROR_WINHTTP_SECURE_FAILURE 12175U

struct URL_COMPONENTS {
    DWORD dwStructSize;
    LPWSTR lpszScheme;
    DWORD dwSchemeLength;
    INTERNET_SCHEME nScheme;
    LPWSTR lpszHostName;
    DWORD dwHostNameLength;
    INTERNET_PORT nPort;
    LPWSTR lpszUserName;
    DWORD dwUserNameLength;
    LPWSTR lpszPassword;
    DWORD dwPasswordLength;
    LPWSTR lpszUrlPath;
    DWORD dwUrlPathLength;
    LPWSTR lpszExtraInfo;
    DWORD dwExtraInfoLength;
};

BOOL WINAPI WinHttpCrackUrl(LPCWSTR url, DWORD length, DWORD flags, URL_COMPONENTS* components);
HINTERNET WINAPI WinHttpOpen(LPCWSTR agent, DWORD access_type, LPCWSTR proxy, LPCWSTR bypass, DWORD flags);
BOOL WINAPI WinHttpSetTimeouts(HINTERNET session, int resolve, int connect, int send, int receive);
BOOL WINAPI WinHttpSetOption(HINTERNET handle, DWORD option, LPVOID buffer, DWORD size);
HINTERNET WINAPI WinHttpConnect(HINTERNET session, LPCWSTR host, INTERNET_PORT port, DWORD reserved);
HINTERNET WINAPI WinHttpOpenRequest(HINTERNET connection, LPCWSTR verb, LPCWSTR object, LPCWSTR version,
                                    LPCWSTR referrer, LPCWSTR* accept_types, DWORD flags);
BOOL WINAPI WinHttpSendRequest(HINTERNET request, LPCWSTR headers, DWORD headers_length, LPVOID optional,
                               DWORD optional_length, DWORD total_length, DWORD_PTR context);
BOOL WINAPI WinHttpReceiveResponse(HINTERNET request, LPVOID reserved);
BOOL WINAPI WinHttpQueryHeaders(HINTERNET request, DWORD level, LPCWSTR name, LPVOID buffer, LPDWORD size,
                                LPDWORD index);
BOOL WINAPI WinHttpReadData(HINTERNET request, LPVOID buffer, DWORD size, LPDWORD read);
BOOL WINAPI WinHttpCloseHandle(HINTERNET handle);
