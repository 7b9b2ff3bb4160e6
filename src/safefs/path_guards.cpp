#include "safefs/path_guards.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "base/failure.h"
#include "safefs/file_system.h"
#include "safefs/plain_files.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"

namespace vandrel {

namespace {

constexpr std::size_t kUsualSteps = 16;  // most paths have fewer

// One step of a walk: missing or no reparse point.
bool step_is_safe(const std::wstring& step) {
    const DWORD attributes = GetFileAttributesW(step.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        const DWORD error = GetLastError();
        return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
    }
    return (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

bool normal_absolute(const std::wstring& path, std::wstring& result) {
    std::uint32_t error = 0;
    if (!try_absolute(path, result, error)) return false;
    result = lexically_normal(result);
    return true;
}

bool is_plain_folder(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & kFolderOrReparse) == FILE_ATTRIBUTE_DIRECTORY;
}

}  // namespace

bool path_prefixes_free_of_reparse(const std::wstring& path) {
    std::wstring full;
    std::uint32_t error = 0;
    if (!try_absolute(path, full, error) || full.empty()) return false;
    std::wstring current;
    current.reserve(full.size() + 1);
    for (const std::wstring_view element : path_elements(full)) {
        append(current, element);
        if (!step_is_safe(current)) return false;
    }
    return true;
}

bool ancestors_free_of_reparse(const std::wstring& path) {
    std::wstring full;
    if (!normal_absolute(path, full)) return false;
    std::vector<std::wstring_view> chain;
    chain.reserve(kUsualSteps);
    chain.emplace_back(full);
    for (;;) {
        const std::wstring_view parent = parent_of(chain.back());
        if (parent == chain.back() || parent.empty()) break;
        chain.push_back(parent);
    }
    std::wstring step;
    step.reserve(full.size());
    return std::all_of(chain.rbegin(), chain.rend(), [&step](std::wstring_view part) {
        step = part;
        return step_is_safe(step);
    });
}

bool is_path_within(const std::wstring& root, const std::wstring& target) {
    std::wstring base;
    std::wstring full;
    if (!normal_absolute(root, base) || !normal_absolute(target, full)) return false;
    const std::wstring relative = lexically_relative(full, base);
    if (relative.empty() || is_absolute(relative)) return false;
    const auto elements = path_elements(relative);
    return std::ranges::find(elements, std::wstring_view(L"..")) == elements.end();
}

void ensure_safe_directory(const std::wstring& path) {
    require(path_prefixes_free_of_reparse(path), L"Diretorio com redirecionamento recusado.");
    create_directories(path);
    require(path_prefixes_free_of_reparse(path) && is_directory(path), L"Diretorio inseguro.");
}

bool validate_download_destination(const std::wstring& root, const std::wstring& target, std::wstring& error) {
    if (!is_plain_folder(root) || !is_path_within(root, target) || !ancestors_free_of_reparse(root) ||
        !ancestors_free_of_reparse(parent_path(target))) {
        error = L"Destino de download escapa da pasta permitida ou contem redirecionamento.";
        return false;
    }
    const DWORD attributes = GetFileAttributesW(target.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & kFolderOrReparse) != 0) {
        error = L"Destino de download existente nao e um arquivo regular.";
        return false;
    }
    return true;
}

bool same_folder(const std::wstring& a, const std::wstring& b) {
    return fold_case(lexically_normal(absolute(a))) == fold_case(lexically_normal(absolute(b)));
}

}  // namespace vandrel
