// A Windows program that does nothing: what starting any program costs.

#include <windows.h>

int WINAPI wWinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, wchar_t* /*arguments*/, int /*show*/) {
    return 0;
}
