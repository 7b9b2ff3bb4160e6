// How WinHttpCrackUrl takes a URL apart.
#include <windows.h>

#include <winhttp.h>

#include "lab/probes/probe.h"

namespace {

using namespace probe;

constexpr const wchar_t* kUrls[] = {L"https://updates.example/client-brd/updater.php",
                                    L"https://h/p?a=b&c=d",
                                    L"https://h:8443/p?a=b",
                                    L"HTTPS://H/P",
                                    L"http://h/p",
                                    L"http://h:8080/p",
                                    L"http://h",
                                    L"https://h/",
                                    L"https://h:/p",
                                    L"https://h:65535/",
                                    L"https://h:65536/",
                                    L"https://u@h/p",
                                    L"https://u:w@h:81/p?q",
                                    L"https://h/p@q",
                                    L"https://h/%41?%42",
                                    L"https://h/p?x?y",
                                    L"ftp://h/p",
                                    L"file://x",
                                    L"http",
                                    L"",
                                    L"://h",
                                    L"http:/h",
                                    L"http:h",
                                    L"https://"};

std::string parts(const URL_COMPONENTS& url) {
    return "scheme " + std::to_string(static_cast<int>(url.nScheme)) + " " +
           shown({url.lpszScheme, url.dwSchemeLength}) + " host " + shown({url.lpszHostName, url.dwHostNameLength}) +
           " port " + number(url.nPort) + " path " + shown({url.lpszUrlPath, url.dwUrlPathLength}) + " extra " +
           shown({url.lpszExtraInfo, url.dwExtraInfoLength});
}

void crack(const wchar_t* text, const char* wine = nullptr) {
    URL_COMPONENTS url{};
    url.dwStructSize = sizeof url;
    constexpr auto kWanted = static_cast<DWORD>(-1);
    url.dwSchemeLength = url.dwHostNameLength = url.dwUrlPathLength = url.dwExtraInfoLength = kWanted;
    SetLastError(0);
    const bool done = WinHttpCrackUrl(text, 0, 0, &url) != FALSE;
    say("url " + shown(text), done ? parts(url) : outcome(false), wine);
}

}  // namespace

void probe::run() {
    for (const wchar_t* url : kUrls) crack(url);
    crack(L"https://h?q=1", "without a path, a query is taken for a part of the host's name");
    crack(L"https://h:x/", "a port that is no number is taken for 0");
    for (const wchar_t* url : {L"https:///p", L"https://:80/p"}) crack(url, "an empty host is taken");
}
