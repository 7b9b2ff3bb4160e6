// The names of the executables that a run deals with: its own and the client's.
#pragma once

#include <array>
#include <string_view>

namespace vandrel {

inline constexpr std::wstring_view kHelperExecutable = L"Vandrel Updater.exe";

// The client comes with two graphics backends for each of two channels; in ASCII lower case.
inline constexpr std::array<std::wstring_view, 2> kClientBackends{L"brindler_dx", L"brindler_gl"};
inline constexpr std::array<std::wstring_view, 4> kClientExecutables{L"brindler_dx_x64.exe", L"brindler_gl_x64.exe",
                                                                     L"brindler_dx_x86.exe", L"brindler_gl_x86.exe"};

// What the file name of a client executable ends in: "_x64.exe" for the channel "64", else "_x86.exe".
constexpr std::wstring_view executable_suffix(std::wstring_view arch) {
    return arch == L"64" ? L"_x64.exe" : L"_x86.exe";
}

// Whether `name` is, with case, the client's executable of one of the backends in the channel `arch`.
constexpr bool is_client_executable(std::wstring_view name, std::wstring_view arch) {
    for (const std::wstring_view backend : kClientBackends) {
        if (name.starts_with(backend) && name.substr(backend.size()) == executable_suffix(arch)) return true;
    }
    return false;
}

}  // namespace vandrel
