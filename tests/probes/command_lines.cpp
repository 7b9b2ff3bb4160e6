// How CommandLineToArgvW splits.
#include <windows.h>

#include <shellapi.h>

#include "lab/probes/probe.h"

namespace {

constexpr const wchar_t* kLines[] = {
    L"p", L"p  a\tb ", L"p \"\" \"\"", L"p a\nb", L"p \"a b\" c", L"p \"a\" \"b\"",
    // The program's name has rules of its own
    L"\"p q\"a b", L"p\"q r\" s", L"\"p", L"p\\\"x y\" z", L" p a", L"\tp a", L"\"\" a",
    // Backslashes count before a quote alone
    L"p a\\b a\\", L"p \\\\server", L"p a\\\"b", L"p a\\\\\"b c\"", L"p a\\\\\\\"b c", L"p \"a\\\" b",
    L"p \"\\\\\\\\\" x", L"p \"a\\b\\\\c\"",
    // Quotes in and after quotes
    L"p \"a b", L"p a\"b c\"d", L"p \"a\"\"b c\" d", L"p \"\"\"a b\"", L"p \"\"\"\"a b\"", L"p a\"\"b", L"p a\"\"\"b",
    L"p \"a\"\"\"b c", L"p \"a\"\"\"\"b c", L"p \"\"\"\"\"\" x", L"p \"\"a b",
    // As clients write them
    L"p \"/ROOT=C:\\x y\\\\\" /Q", L"p /STATUS=\"C:\\a b\\c\" z", L"p \"/STATUS=C:\\a b\\c.json\" /WAITPID=12"};

}  // namespace

void probe::run() {
    for (const wchar_t* line : kLines) {
        int count = -1;
        LPWSTR* const arguments = CommandLineToArgvW(line, &count);
        std::string value = std::to_string(count);
        for (int i = 0; arguments != nullptr && i < count; ++i) value += " " + shown(arguments[i]);
        LocalFree(arguments);
        say("arguments of " + shown(line), value);
    }
}
