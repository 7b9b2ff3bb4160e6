// Paths, conversions and quoting: what is normal stays so, what is within stays within, what is converted comes back.
#include <windows.h>

#include <shellapi.h>
#include <nlohmann/json.hpp>

#include "handshake/status_file.h"
#include "launcher/process_start.h"
#include "safefs/path_guards.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"
#include "tests/fuzz/fuzz.h"

namespace {

// `.\x:.` becomes the path `x:`, whose normal form is another, `C:` among the elements of a path replaces those before
// it, and whether `\??` is a root name is seen by what is behind it. No such text comes so far: colons and question
// marks are refused in a manifest, and GetFullPathNameW leaves none behind the drive's that a file system takes.
bool is_unreachable(const std::wstring& path) {
    return path.find(L':', 2) != std::wstring::npos || path.find(L"??") != std::wstring::npos;
}

void check_path(const std::wstring& path) {
    const std::wstring normal = vandrel::lexically_normal(path);
    fuzz::law(vandrel::lexically_normal(normal) == normal, "what is normal stays so");
    std::wstring joined;
    for (const std::wstring_view element : vandrel::path_elements(path)) joined = vandrel::join(joined, element);
    fuzz::law(vandrel::lexically_normal(joined) == normal, "elements put together are the path");
    fuzz::law(path.starts_with(vandrel::parent_path(path)), "a parent is the path's beginning");
    fuzz::law(path.ends_with(vandrel::file_name(path)), "a file name is the path's end");
    const std::wstring root = L"C:\\Game";
    const std::wstring target = vandrel::join(root, path);
    if (is_unreachable(target) || !vandrel::is_path_within(root, target)) return;
    const std::wstring full = vandrel::lexically_normal(vandrel::absolute(target));
    fuzz::law(full == root || full.starts_with(root + L"\\"), "what is within has the folder's name in front");
}

void check_text(const std::wstring& text) {
    const std::string utf8 = vandrel::wide_to_utf8(text);
    fuzz::law(utf8.empty() || vandrel::utf8_to_wide(utf8) == text, "UTF-16 comes back");
    fuzz::law(nlohmann::json::parse(vandrel::json_quote(text)) == utf8, "a quoted text is JSON of the same text");
    fuzz::law(vandrel::fold_case(vandrel::fold_case(text)) == vandrel::fold_case(text), "what is folded stays so");
    if (text.find(L'\0') != std::wstring::npos) return;  // ends a command line, and a path
    int count = 0;
    LPWSTR* arguments = CommandLineToArgvW((L"x " + vandrel::quote_argument(text)).c_str(), &count);
    fuzz::law(arguments != nullptr && count == 2 && arguments[1] == text, "a quoted argument comes back");
    LocalFree(arguments);
    if (!is_unreachable(text)) check_path(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static winsim::World world;
    const winsim::World::Guard guard(world);
    fuzz::Input input(data, size);
    const std::string_view bytes = input.text();
    const std::wstring decoded = vandrel::utf8_to_wide(bytes);
    fuzz::law(decoded.empty() || vandrel::wide_to_utf8(decoded) == bytes, "UTF-8 comes back");
    const std::wstring text = input.units(size);
    check_text(text);
    return 0;
}
