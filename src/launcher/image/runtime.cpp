// What the executable for Windows has of its own beneath the compiler's runtime; no other program is linked with it.
//
// Loading: bcrypt, shell32 and winhttp are loaded at their first call, when the helper has said where libraries come
// from. Those that the system loads before any code of the program come from its own folder alone, too.
// Size: two parts of the libraries give way to less, and leave 78 KB out.
// Ending: whatever goes wrong down here ends the process at once, and never with a dialog, as the C runtime's abort()
// would.

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace {

// How Windows lays out this part of an image (IMAGE_LOAD_CONFIG_DIRECTORY64, up to its member SEHandlerCount).
struct LoadConfiguration {
    std::uint32_t size;
    std::uint8_t before_flags[0x4A];
    std::uint16_t dependent_load_flags;
    std::uint64_t before_cookie;
    std::uintptr_t* security_cookie;
    std::uint64_t behind_cookie[2];
};
static_assert(offsetof(LoadConfiguration, dependent_load_flags) == 0x4E);
static_assert(offsetof(LoadConfiguration, security_cookie) == 0x58);
static_assert(sizeof(LoadConfiguration) == 0x70);

constexpr std::uint16_t kSearchSystem32 = 0x800;  // LOAD_LIBRARY_SEARCH_SYSTEM32

using DelayLoadHook = void* (*)(unsigned event, void* details);

void* end_without_library(unsigned /*event*/, void* /*details*/) {
    std::_Exit(1);
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier, readability-identifier-naming): names that the toolchain looks for

extern "C" {

// The value that guarded functions keep between their variables and their return address. In place of this one, by
// which Windows knows that nobody has chosen one, the system's loader puts a random one.
std::uintptr_t __stack_chk_guard = 0x00002B992DDFA232;

[[noreturn]] void __stack_chk_fail();
[[noreturn]] void __stack_chk_fail() {
    __builtin_trap();
}

extern const LoadConfiguration _load_config_used;
const LoadConfiguration _load_config_used = {sizeof(LoadConfiguration), {}, kSearchSystem32, 0, &__stack_chk_guard, {}};

// Ends the table of delay-loaded libraries; the toolchain's part of it stands in .rdata$delay$2.
extern const std::uint8_t vandrel_delay_imports_end[32];
__attribute__((section(".rdata$delay$3"))) const std::uint8_t vandrel_delay_imports_end[32] = {};

// Asked when a library, or a function in it, is missing.
DelayLoadHook __pfnDliFailureHook2 = end_without_library;

int _vsnwprintf(wchar_t* text, std::size_t capacity, const wchar_t* format, std::va_list arguments);

// std::to_wstring prints whole numbers with this. The C runtime of Windows can do that, too; the toolchain's own brings
// 21 KB for numbers of every other kind.
int __mingw_vsnwprintf(wchar_t* text, std::size_t capacity, const wchar_t* format, std::va_list arguments);
int __mingw_vsnwprintf(wchar_t* text, std::size_t capacity, const wchar_t* format, std::va_list arguments) {
    return _vsnwprintf(text, capacity, format, arguments);
}

}  // extern "C"

namespace __gnu_cxx {

// The C++ library's own prints the exception's type, and brings 57 KB of code that can read its name.
void __verbose_terminate_handler();
void __verbose_terminate_handler() {
    std::_Exit(1);
}

}  // namespace __gnu_cxx

// NOLINTEND(bugprone-reserved-identifier, readability-identifier-naming)
