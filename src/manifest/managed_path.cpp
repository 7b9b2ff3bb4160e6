#include <algorithm>
#include <array>
#include <set>
#include <string_view>

#include "manifest/manifest_policy.h"
#include "run/executables.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"

namespace vandrel {

namespace {

constexpr std::array<std::wstring_view, 3> kManagedPrefixes{L"data/", L"modules/", L"layouts/"};
constexpr std::array<std::wstring_view, 5> kManagedFiles{L"init.lua", L"vandrel updater.exe", L"d3dcompiler_47.dll",
                                                         L"vcruntime140.dll", L"vcruntime140_1.dll"};
constexpr std::wstring_view kForbiddenCharacters = L"<>\"|?*";
constexpr wchar_t kFirstPrintable = 32;

const std::set<std::wstring_view>& reserved_device_names() {
    static const std::set<std::wstring_view> names{
        L"con",  L"prn",  L"aux",  L"nul",  L"clock$", L"com1", L"com2", L"com3", L"com4", L"com5", L"com6", L"com7",
        L"com8", L"com9", L"lpt1", L"lpt2", L"lpt3",   L"lpt4", L"lpt5", L"lpt6", L"lpt7", L"lpt8", L"lpt9"};
    return names;
}

bool is_safe_component(std::wstring_view component) {
    if (component.empty() || component == L"." || component == L"..") return false;
    if (component.back() == L'.' || component.back() == L' ') return false;
    return !reserved_device_names().contains(fold_case(component.substr(0, component.find(L'.'))));
}

bool has_forbidden_unit(const std::wstring& path) {
    return path.find_first_of(kForbiddenCharacters) != std::wstring::npos ||
           std::ranges::any_of(path, [](wchar_t unit) { return unit < kFirstPrintable; });
}

}  // namespace

bool is_safe_relative_path(const std::wstring& path) {
    if (path.empty() || path.size() > kLongestRelativePath) return false;
    if (is_separator(path.front())) return false;
    if (path.find(L':') != std::wstring::npos || path.find(L'\0') != std::wstring::npos) return false;
    // What precedes leaves no such path; this is the second line.
    if (is_absolute(path) || !root_name(path).empty() || has_root_directory(path)) return false;
    return std::ranges::all_of(path_elements(path), is_safe_component);
}

bool is_managed_path(const ManifestEntry& entry, const LaunchOptions& options) {
    const std::wstring path = utf8_to_wide(entry.path);
    if (path.empty() || wide_to_utf8(path) != entry.path) return false;
    if (path.size() > kLongestManagedPath || !is_safe_relative_path(path)) return false;
    if (path.find(L'\\') != std::wstring::npos || path.find(L"//") != std::wstring::npos || path.back() == L'/') {
        return false;
    }
    if (has_forbidden_unit(path)) return false;
    const std::wstring folded = fold_case(path);
    if (std::ranges::any_of(kManagedPrefixes, [&](std::wstring_view prefix) { return folded.starts_with(prefix); })) {
        return true;
    }
    return std::ranges::find(kManagedFiles, folded) != kManagedFiles.end() ||
           is_client_executable(folded, options.arch);
}

}  // namespace vandrel
