// The system's texts for error numbers: that there is one, ending in CR and LF, or none. The words are each system's
// own.
#include "lab/probes/probe.h"

namespace {

using namespace probe;

std::string kind_of_text(DWORD message) {
    constexpr DWORD kFlags =
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    LPWSTR text = nullptr;
    SetLastError(0);
    const DWORD size = FormatMessageW(kFlags, nullptr, message, 0, reinterpret_cast<LPWSTR>(&text), 0, nullptr);
    if (size == 0) return outcome(false) + (text == nullptr ? ", no block" : ", a block");
    const std::wstring_view all(text, size);
    const bool ends_well = size > 2 && all.substr(size - 2) == L"\r\n" && text[size] == L'\0';
    const bool inserts_stay = all.find(L"%1") != std::wstring_view::npos;
    LocalFree(text);
    return std::string(ends_well ? "a text and CR LF" : "a text without an end") + (inserts_stay ? ", with %1" : "");
}

}  // namespace

void probe::run() {
    for (const DWORD message : {2U, 3U, 5U, 32U, 80U, 87U, 112U, 183U, 193U, 1117U, 1176U, 1177U, 12002U, 99999U}) {
        say("text of " + number(message), kind_of_text(message));
    }
}
