// The last error, the error mode, the search for libraries, the system's texts, and the release of blocks.
#include <windows.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "winsim/call.h"
#include "winsim/world_impl.h"

namespace {

using winsim::World;

struct Message {
    DWORD number;
    std::wstring_view text;
};

// English Windows; each text ends with CR and LF when it is given out. WinHTTP's numbers have none here.
constexpr std::array kMessages = {
    Message{0, L"The operation completed successfully."},
    Message{1, L"Incorrect function."},
    Message{2, L"The system cannot find the file specified."},
    Message{3, L"The system cannot find the path specified."},
    Message{4, L"The system cannot open the file."},
    Message{5, L"Access is denied."},
    Message{6, L"The handle is invalid."},
    Message{8, L"Not enough memory resources are available to process this command."},
    Message{14, L"Not enough memory resources are available to complete this operation."},
    Message{15, L"The system cannot find the drive specified."},
    Message{17, L"The system cannot move the file to a different disk drive."},
    Message{18, L"There are no more files."},
    Message{19, L"The media is write protected."},
    Message{21, L"The device is not ready."},
    Message{23, L"Data error (cyclic redundancy check)."},
    Message{24, L"The program issued a command but the command length is incorrect."},
    Message{31, L"A device attached to the system is not functioning."},
    Message{32, L"The process cannot access the file because it is being used by another process."},
    Message{33, L"The process cannot access the file because another process has locked a portion of the file."},
    Message{38, L"Reached the end of the file."},
    Message{50, L"The request is not supported."},
    Message{53, L"The network path was not found."},
    Message{64, L"The specified network name is no longer available."},
    Message{67, L"The network name cannot be found."},
    Message{80, L"The file exists."},
    Message{87, L"The parameter is incorrect."},
    Message{112, L"There is not enough space on the disk."},
    Message{122, L"The data area passed to a system call is too small."},
    Message{123, L"The filename, directory name, or volume label syntax is incorrect."},
    Message{145, L"The directory is not empty."},
    Message{183, L"Cannot create a file when that file already exists."},
    Message{193, L"%1 is not a valid Win32 application."},
    Message{206, L"The filename or extension is too long."},
    Message{258, L"The wait operation timed out."},
    Message{267, L"The directory name is invalid."},
    Message{288, L"Attempt to release mutex not owned by caller."},
    Message{317, L"The system cannot find message text for message number 0x%1 in the message file for %2."},
    Message{1113, L"No mapping for the Unicode character exists in the target multi-byte code page."},
    Message{1117, L"The request could not be performed because of an I/O device error."},
    Message{1175, L"Unable to remove the file to be replaced."},
    Message{1176,
            L"Unable to move the replacement file to the file to be replaced. The file to be replaced has "
            L"retained its original name."},
    Message{1177,
            L"Unable to move the replacement file to the file to be replaced. The file to be replaced has been "
            L"renamed using the backup name."},
    Message{1224, L"The requested operation cannot be performed on a file with a user-mapped section open."},
    Message{1359, L"An internal error occurred."},
    Message{1392, L"The file or directory is corrupted and unreadable."},
    Message{1450, L"Insufficient system resources exist to complete the requested service."},
    Message{1921, L"The name of the file cannot be resolved by the system."},
};

// A block with the text, a line break and a terminator.
LPWSTR block_of(World& world, std::wstring_view text) {
    void* const block = world.impl().allocate_block((text.size() + 3) * sizeof(wchar_t));
    auto* const units = static_cast<wchar_t*>(block);
    wchar_t* end = std::copy(text.begin(), text.end(), units);
    *end++ = L'\r';
    *end++ = L'\n';
    *end = L'\0';
    return units;
}

}  // namespace

DWORD WINAPI GetLastError() {
    return World::current().gate.last_error;
}

void WINAPI SetLastError(DWORD code) {
    World::current().gate.last_error = code;
}

BOOL WINAPI SetThreadErrorMode(DWORD mode, DWORD* old_mode) {
    return winsim::gated<BOOL>("SetThreadErrorMode", std::to_wstring(mode), FALSE, [&](World& world) {
        winsim::demand(world, old_mode == nullptr, "SetThreadErrorMode: with a place for the old mode");
        return TRUE;
    });
}

BOOL WINAPI SetDefaultDllDirectories(DWORD folders) {
    return winsim::gated<BOOL>("SetDefaultDllDirectories", {}, FALSE, [&](World& world) {
        winsim::demand(world, folders == LOAD_LIBRARY_SEARCH_SYSTEM32,
                       "SetDefaultDllDirectories: any folder but the system's");
        return TRUE;
    });
}

DWORD WINAPI FormatMessageW(DWORD flags, LPCVOID source, DWORD message, DWORD language, LPWSTR buffer, DWORD size,
                            void* arguments) {
    return winsim::gated<DWORD>("FormatMessageW", {}, 0, [&](World& world) -> DWORD {
        constexpr DWORD kFlags =
            FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_FROM_SYSTEM;
        winsim::demand(world, flags == kFlags && source == nullptr && language == 0 && arguments == nullptr,
                       "FormatMessageW: anything but a system text in a block of its own");
        winsim::demand(world, buffer != nullptr && size == 0, "FormatMessageW: a buffer size beside an own block");
        auto& block =
            *static_cast<LPWSTR*>(static_cast<void*>(buffer));  // how this call takes the place for the block's address
        block = nullptr;
        const auto found = std::find_if(kMessages.begin(), kMessages.end(),
                                        [message](const Message& entry) { return entry.number == message; });
        if (found == kMessages.end()) return winsim::fail<DWORD>(world, ERROR_MR_MID_NOT_FOUND, 0);
        block = block_of(world, found->text);
        return static_cast<DWORD>(found->text.size() + 2);
    });
}

HLOCAL WINAPI LocalFree(HLOCAL memory) {
    return winsim::gated_release<HLOCAL>("LocalFree", memory, [&](World& world) -> HLOCAL {
        if (memory == nullptr) return nullptr;
        winsim::demand(world, world.impl().free_block(memory), "LocalFree of something that is no block");
        return nullptr;
    });
}
