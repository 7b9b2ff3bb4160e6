#include "lab/kit/personal.h"

#include <windows.h>

#include <algorithm>

#include "sample_client/vandrel_client/text.h"

namespace kit {
namespace {

std::string variable(const wchar_t* name) {
    wchar_t value[MAX_PATH] = {};
    return GetEnvironmentVariableW(name, value, MAX_PATH) < MAX_PATH ? vandrel_client::to_utf8(value) : std::string();
}

bool is_same(char left, char right) {
    const auto folded = [](char byte) { return byte >= 'A' && byte <= 'Z' ? byte - 'A' + 'a' : byte; };
    return folded(left) == folded(right);
}

void replace_all(std::string& text, const std::string& personal, const std::string& name) {
    if (personal.empty()) return;
    for (auto at = text.begin();;) {
        at = std::search(at, text.end(), personal.begin(), personal.end(), is_same);
        if (at == text.end()) return;
        const auto offset = at - text.begin();
        text.replace(static_cast<std::size_t>(offset), personal.size(), name);
        at = text.begin() + offset + static_cast<std::ptrdiff_t>(name.size());
    }
}

}  // namespace

std::string without_personal(const std::string& text, const std::filesystem::path& kit) {
    std::string cleared = text;
    replace_all(cleared, vandrel_client::to_utf8(kit.native()), "KIT");
    replace_all(cleared, variable(L"USERPROFILE"), "PROFILE");
    const std::string user = variable(L"USERNAME");
    if (!user.empty()) replace_all(cleared, "\\" + user, "\\USER");
    return cleared;
}

}  // namespace kit
