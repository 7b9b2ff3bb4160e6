// The shell's splitting of a command line.
#pragma once

#include <windows.h>

// The arguments of `command_line` as one block that LocalFree releases; null on failure.
LPWSTR* WINAPI CommandLineToArgvW(LPCWSTR command_line, int* count);
