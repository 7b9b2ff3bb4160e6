#include "launcher/command_line.h"

#include <windows.h>

#include <shellapi.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "base/failure.h"
#include "base/unique_handle.h"
#include "safefs/text_encoding.h"

namespace vandrel {

namespace {

constexpr std::array<std::wstring_view, 8> kKnownKeys{L"/check",   L"/arch",   L"/job",  L"/status",
                                                      L"/waitpid", L"/client", L"/root", L"/relocated"};

}  // namespace

bool read_arguments(std::vector<std::wstring>& arguments) {
    int count = 0;
    const LocalBlock<LPWSTR*> block(CommandLineToArgvW(GetCommandLineW(), &count));
    if (!block) return false;
    for (int i = 1; i < count; ++i) arguments.emplace_back(block.get()[i]);
    return true;
}

Switch split_switch(const std::wstring& argument) {
    const std::size_t equals = argument.find(L'=');
    const std::wstring value = equals == std::wstring::npos ? std::wstring() : argument.substr(equals + 1);
    return {fold_case(argument.substr(0, equals)), value};
}

Switches read_switches(const std::vector<std::wstring>& arguments) {
    Switches switches;
    for (const std::wstring& argument : arguments) {
        Switch found = split_switch(argument);
        const bool is_new = switches.emplace(std::move(found.key), std::move(found.value)).second;
        require(is_new, L"Argumento repetido.");
    }
    for (const auto& [key, value] : switches) {
        require(std::ranges::find(kKnownKeys, key) != kKnownKeys.end(), L"Argumento desconhecido.");
    }
    return switches;
}

}  // namespace vandrel
