// How WinHttpCrackUrl takes a URL apart.
#include <windows.h>

#include <winhttp.h>

#include "lab/probes/probe.h"

namespace {

using namespace probe;

constexpr const wchar_t* kUrls[] = {L"https://updates.example/client-brd/updater.php",
                                    L"https://h:8443/p?a=b&c=d",
                                    L"HTTPS://H/P",
                                    L"http://h:8080/p",
                                    L"https://h/%41?%42",
                                    L"https://h/p?x?y",
                                    L"https://h:65535/",
                                    L"https://h:65536/",
                                    L"ftp://h/p",
                                    L"http",
                                    L"",
                                    L"https://"};

std::string parts(const URL_COMPONENTS& url) {
    return "scheme " + std::to_string(static_cast<int>(url.nScheme)) + " " +
           shown({url.lpszScheme, url.dwSchemeLength}) + " host " + shown({url.lpszHostName, url.dwHostNameLength}) +
           " port " + number(url.nPort) + " path " + shown({url.lpszUrlPath, url.dwUrlPathLength}) + " extra " +
           shown({url.lpszExtraInfo, url.dwExtraInfoLength});
}

}  // namespace

void probe::run() {
    for (const wchar_t* text : kUrls) {
        URL_COMPONENTS url{};
        url.dwStructSize = sizeof url;
        constexpr auto kWanted = static_cast<DWORD>(-1);
        url.dwSchemeLength = url.dwHostNameLength = url.dwUrlPathLength = url.dwExtraInfoLength = kWanted;
        SetLastError(0);
        const bool done = WinHttpCrackUrl(text, 0, 0, &url) != FALSE;
        say("url " + shown(text), done ? parts(url) : outcome(false));
    }
}
