// WinHttpCrackUrl: the parts of a URL as pointers into it.
#include <winhttp.h>

#include <string_view>

#include "winsim/call.h"
#include "winsim/disk_names.h"
#include "winsim/world_impl.h"

namespace {

using winsim::World;

constexpr std::size_t kNone = std::wstring_view::npos;

struct Parts {
    std::wstring_view scheme, user, password, host, path, extra;
    INTERNET_SCHEME number = 0;
    INTERNET_PORT port = 0;
};

bool read_scheme(std::wstring_view url, Parts& parts) {
    const std::size_t colon = url.find(L':');
    if (colon == kNone) return false;
    parts.scheme = url.substr(0, colon);
    if (winsim::same_folded(parts.scheme, L"http")) parts.number = INTERNET_SCHEME_HTTP;
    if (winsim::same_folded(parts.scheme, L"https")) parts.number = INTERNET_SCHEME_HTTPS;
    parts.port = parts.number == INTERNET_SCHEME_HTTPS ? 443 : 80;
    return parts.number != 0;
}

bool read_port(std::wstring_view digits, Parts& parts) {
    if (digits.empty()) return true;  // "host:" is the scheme's own port
    std::uint32_t value = 0;
    for (const wchar_t digit : digits) {
        if (digit < L'0' || digit > L'9') return false;
        value = value * 10 + static_cast<std::uint32_t>(digit - L'0');
        if (value > 65535) return false;
    }
    parts.port = static_cast<INTERNET_PORT>(value);
    return true;
}

// "user:password@host:port", of which only the host must be there.
bool read_authority(std::wstring_view authority, Parts& parts) {
    const std::size_t at = authority.find(L'@');
    if (at != kNone) {
        const std::wstring_view login = authority.substr(0, at);
        const std::size_t colon = login.find(L':');
        parts.user = login.substr(0, colon);
        if (colon != kNone) parts.password = login.substr(colon + 1);
        authority.remove_prefix(at + 1);
    }
    const std::size_t bracket = authority.empty() || authority[0] != L'[' ? 0 : authority.find(L']');
    if (bracket == kNone) return false;
    const std::size_t colon = authority.find(L':', bracket);
    parts.host = authority.substr(0, colon);
    if (parts.host.empty()) return false;
    return colon == kNone || read_port(authority.substr(colon + 1), parts);
}

// 0, or the error.
std::uint32_t crack(std::wstring_view url, Parts& parts) {
    if (!read_scheme(url, parts)) return ERROR_WINHTTP_UNRECOGNIZED_SCHEME;
    std::wstring_view rest = url.substr(parts.scheme.size() + 1);
    if (rest.substr(0, 2) != L"//") return ERROR_WINHTTP_INVALID_URL;
    rest.remove_prefix(2);
    const std::size_t authority_end = rest.find_first_of(L"/?#");
    if (!read_authority(rest.substr(0, authority_end), parts)) return ERROR_WINHTTP_INVALID_URL;
    if (authority_end == kNone) {
        parts.path = parts.extra = rest.substr(rest.size());
        return 0;
    }
    rest.remove_prefix(authority_end);
    const std::size_t path_end = rest.find_first_of(L"?#");
    parts.path = rest.substr(0, path_end);
    parts.extra = path_end == kNone ? rest.substr(rest.size()) : rest.substr(path_end);
    return 0;
}

// A part is asked for by any length but 0, and given as a pointer into the URL.
void give(World& world, std::wstring_view part, LPWSTR& pointer, DWORD& length) {
    winsim::demand(world, pointer == nullptr, "WinHttpCrackUrl with a buffer for a part");
    if (length == 0) return;
    pointer = const_cast<LPWSTR>(part.data());
    length = static_cast<DWORD>(part.size());
}

}  // namespace

BOOL WINAPI WinHttpCrackUrl(LPCWSTR url, DWORD length, DWORD flags, URL_COMPONENTS* components) {
    return winsim::gated<BOOL>("WinHttpCrackUrl", url, FALSE, [&](World& world) {
        winsim::demand(world, flags == 0 && components->dwStructSize == sizeof(URL_COMPONENTS),
                       "WinHttpCrackUrl with flags, or a structure of another size");
        const std::wstring_view text = length == 0 ? std::wstring_view(url) : std::wstring_view(url, length);
        Parts parts;
        const std::uint32_t error = crack(text, parts);
        if (error != 0) return winsim::fail(world, error, FALSE);
        components->nScheme = parts.number;
        components->nPort = parts.port;
        give(world, parts.scheme, components->lpszScheme, components->dwSchemeLength);
        give(world, parts.user, components->lpszUserName, components->dwUserNameLength);
        give(world, parts.password, components->lpszPassword, components->dwPasswordLength);
        give(world, parts.host, components->lpszHostName, components->dwHostNameLength);
        give(world, parts.path, components->lpszUrlPath, components->dwUrlPathLength);
        give(world, parts.extra, components->lpszExtraInfo, components->dwExtraInfoLength);
        return TRUE;
    });
}
