#include <windows.h>

#include "launcher/entry.h"

int WINAPI WinMain(HINSTANCE /*instance*/, HINSTANCE /*previous*/, LPSTR /*command_line*/, int /*show*/) {
    return vandrel::run_helper();
}
