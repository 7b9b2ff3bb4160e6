// The part of Windows that the helper calls, for the simulated machine.
//
// Fixed-width types have their Windows width on every build; wchar_t is the build's own and holds one UTF-16 unit.
// Constants carry the values of the platform's own headers. Each call is answered by the winsim::World that runs on the
// calling thread; what it answers stands in the headers of winsim/.
#pragma once

#include <cstddef>
#include <cstdint>

#define WINAPI
#define CALLBACK
#define VOID void

using BOOL = int;
using BYTE = std::uint8_t;
using UCHAR = std::uint8_t;
using WORD = std::uint16_t;
using USHORT = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using ULONG = std::uint32_t;
using LONG = std::int32_t;
using INT = int;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using DWORD_PTR = std::uintptr_t;
using ULONG_PTR = std::uintptr_t;
using SIZE_T = std::size_t;
using HRESULT = std::int32_t;
using NTSTATUS = LONG;
using WCHAR = wchar_t;
using CHAR = char;
using LPWSTR = wchar_t*;
using LPCWSTR = const wchar_t*;
using LPSTR = char*;
using LPCSTR = const char*;
using LPVOID = void*;
using LPCVOID = const void*;
using LPBYTE = BYTE*;
using PUCHAR = UCHAR*;
using LPDWORD = DWORD*;
using HANDLE = void*;
using HMODULE = void*;
using HINSTANCE = void*;
using HWND = void*;
using HLOCAL = void*;
using LPBOOL = BOOL*;

#define FALSE 0
#define TRUE 1
#define MAX_PATH 260
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(-1)))

// Error numbers.
#define ERROR_SUCCESS 0U
#define ERROR_FILE_NOT_FOUND 2U
#define ERROR_PATH_NOT_FOUND 3U
#define ERROR_ACCESS_DENIED 5U
#define ERROR_INVALID_HANDLE 6U
#define ERROR_NOT_ENOUGH_MEMORY 8U
#define ERROR_NOT_SAME_DEVICE 17U
#define ERROR_NO_MORE_FILES 18U
#define ERROR_SHARING_VIOLATION 32U
#define ERROR_HANDLE_EOF 38U
#define ERROR_NOT_SUPPORTED 50U
#define ERROR_BAD_NETPATH 53U
#define ERROR_NETNAME_DELETED 64U
#define ERROR_FILE_EXISTS 80U
#define ERROR_INVALID_PARAMETER 87U
#define ERROR_DISK_FULL 112U
#define ERROR_INSUFFICIENT_BUFFER 122U
#define ERROR_INVALID_NAME 123U
#define ERROR_DIR_NOT_EMPTY 145U
#define ERROR_ALREADY_EXISTS 183U
#define ERROR_BAD_EXE_FORMAT 193U
#define ERROR_FILENAME_EXCED_RANGE 206U
#define ERROR_DIRECTORY 267U
#define ERROR_MR_MID_NOT_FOUND 317U
#define ERROR_NO_UNICODE_TRANSLATION 1113U
#define ERROR_IO_DEVICE 1117U
#define ERROR_UNABLE_TO_REMOVE_REPLACED 1175U
#define ERROR_UNABLE_TO_MOVE_REPLACEMENT 1176U
#define ERROR_UNABLE_TO_MOVE_REPLACEMENT_2 1177U

// Files.
#define GENERIC_READ 0x80000000U
#define GENERIC_WRITE 0x40000000U
#define FILE_LIST_DIRECTORY 0x0001U
#define FILE_READ_ATTRIBUTES 0x0080U
#define DELETE 0x00010000U
#define FILE_SHARE_READ 1U
#define FILE_SHARE_WRITE 2U
#define FILE_SHARE_DELETE 4U
#define CREATE_NEW 1U
#define CREATE_ALWAYS 2U
#define OPEN_EXISTING 3U
#define FILE_ATTRIBUTE_READONLY 0x1U
#define FILE_ATTRIBUTE_HIDDEN 0x2U
#define FILE_ATTRIBUTE_SYSTEM 0x4U
#define FILE_ATTRIBUTE_DIRECTORY 0x10U
#define FILE_ATTRIBUTE_ARCHIVE 0x20U
#define FILE_ATTRIBUTE_NORMAL 0x80U
#define FILE_ATTRIBUTE_TEMPORARY 0x100U
#define FILE_ATTRIBUTE_REPARSE_POINT 0x400U
#define INVALID_FILE_ATTRIBUTES 0xFFFFFFFFU
#define FILE_FLAG_WRITE_THROUGH 0x80000000U
#define FILE_FLAG_SEQUENTIAL_SCAN 0x08000000U
#define FILE_FLAG_BACKUP_SEMANTICS 0x02000000U
#define FILE_FLAG_OPEN_REPARSE_POINT 0x00200000U
#define MOVEFILE_REPLACE_EXISTING 1U
#define MOVEFILE_WRITE_THROUGH 8U
#define REPLACEFILE_WRITE_THROUGH 1U

struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

union LARGE_INTEGER {
    LONGLONG QuadPart;
};

struct SECURITY_ATTRIBUTES;
struct OVERLAPPED;

enum GET_FILEEX_INFO_LEVELS { GetFileExInfoStandard = 0 };

struct WIN32_FILE_ATTRIBUTE_DATA {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
};

struct BY_HANDLE_FILE_INFORMATION {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD dwVolumeSerialNumber;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD nNumberOfLinks;
    DWORD nFileIndexHigh;
    DWORD nFileIndexLow;
};

struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    WCHAR cFileName[MAX_PATH];
    WCHAR cAlternateFileName[14];
};

HANDLE WINAPI CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD disposition,
                          DWORD flags, HANDLE template_file);
BOOL WINAPI ReadFile(HANDLE file, LPVOID buffer, DWORD size, LPDWORD read, OVERLAPPED* overlapped);
BOOL WINAPI WriteFile(HANDLE file, LPCVOID data, DWORD size, LPDWORD written, OVERLAPPED* overlapped);
BOOL WINAPI FlushFileBuffers(HANDLE file);
BOOL WINAPI GetFileSizeEx(HANDLE file, LARGE_INTEGER* size);
BOOL WINAPI GetFileInformationByHandle(HANDLE file, BY_HANDLE_FILE_INFORMATION* information);
BOOL WINAPI CloseHandle(HANDLE handle);
DWORD WINAPI GetFileAttributesW(LPCWSTR path);
BOOL WINAPI GetFileAttributesExW(LPCWSTR path, GET_FILEEX_INFO_LEVELS level, LPVOID information);
BOOL WINAPI CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES* security);
BOOL WINAPI RemoveDirectoryW(LPCWSTR path);
BOOL WINAPI DeleteFileW(LPCWSTR path);
BOOL WINAPI CopyFileW(LPCWSTR from, LPCWSTR to, BOOL fail_if_exists);
BOOL WINAPI MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags);
BOOL WINAPI ReplaceFileW(LPCWSTR replaced, LPCWSTR replacement, LPCWSTR backup, DWORD flags, LPVOID exclude,
                         LPVOID reserved);
DWORD WINAPI GetFullPathNameW(LPCWSTR path, DWORD size, LPWSTR buffer, LPWSTR* file_part);
DWORD WINAPI GetTempPathW(DWORD size, LPWSTR buffer);
HANDLE WINAPI FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data);
BOOL WINAPI FindNextFileW(HANDLE search, WIN32_FIND_DATAW* data);
BOOL WINAPI FindClose(HANDLE search);

// Processes and synchronisation.
#define WAIT_OBJECT_0 0U
#define WAIT_ABANDONED 0x80U
#define WAIT_TIMEOUT 258U
#define WAIT_FAILED 0xFFFFFFFFU
#define SYNCHRONIZE 0x00100000U
#define PROCESS_QUERY_LIMITED_INFORMATION 0x1000U
#define CREATE_NO_WINDOW 0x08000000U
#define STARTF_USESHOWWINDOW 1U
#define SW_HIDE 0

struct STARTUPINFOW {
    DWORD cb;
    LPWSTR lpReserved;
    LPWSTR lpDesktop;
    LPWSTR lpTitle;
    DWORD dwX, dwY, dwXSize, dwYSize, dwXCountChars, dwYCountChars, dwFillAttribute;
    DWORD dwFlags;
    WORD wShowWindow;
    WORD cbReserved2;
    LPBYTE lpReserved2;
    HANDLE hStdInput, hStdOutput, hStdError;
};

struct PROCESS_INFORMATION {
    HANDLE hProcess;
    HANDLE hThread;
    DWORD dwProcessId;
    DWORD dwThreadId;
};

LPWSTR WINAPI GetCommandLineW();
DWORD WINAPI GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);
HANDLE WINAPI CreateMutexW(SECURITY_ATTRIBUTES* security, BOOL initial_owner, LPCWSTR name);
BOOL WINAPI ReleaseMutex(HANDLE mutex);
DWORD WINAPI WaitForSingleObject(HANDLE handle, DWORD milliseconds);
HANDLE WINAPI OpenProcess(DWORD access, BOOL inherit, DWORD process_id);
BOOL WINAPI QueryFullProcessImageNameW(HANDLE process, DWORD flags, LPWSTR buffer, LPDWORD size);
BOOL WINAPI CreateProcessW(LPCWSTR application, LPWSTR command_line, SECURITY_ATTRIBUTES* process_security,
                           SECURITY_ATTRIBUTES* thread_security, BOOL inherit, DWORD flags, LPVOID environment,
                           LPCWSTR folder, STARTUPINFOW* startup, PROCESS_INFORMATION* information);
DWORD WINAPI GetCurrentProcessId();
DWORD WINAPI GetCurrentThreadId();

// Text, time and errors.
#define CP_UTF8 65001U
#define MB_ERR_INVALID_CHARS 8U
#define WC_ERR_INVALID_CHARS 128U
#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x100U
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x200U
#define FORMAT_MESSAGE_FROM_SYSTEM 0x1000U

int WINAPI MultiByteToWideChar(UINT code_page, DWORD flags, LPCSTR bytes, int size, LPWSTR text, int capacity);
int WINAPI WideCharToMultiByte(UINT code_page, DWORD flags, LPCWSTR text, int size, LPSTR bytes, int capacity,
                               LPCSTR default_character, LPBOOL used_default);
ULONGLONG WINAPI GetTickCount64();
void WINAPI Sleep(DWORD milliseconds);
void WINAPI GetSystemTimeAsFileTime(FILETIME* time);
DWORD WINAPI GetLastError();
#define SEM_FAILCRITICALERRORS 1U
#define SEM_NOGPFAULTERRORBOX 2U
#define SEM_NOOPENFILEERRORBOX 0x8000U
BOOL WINAPI SetThreadErrorMode(DWORD mode, DWORD* old_mode);
#define LOAD_LIBRARY_SEARCH_SYSTEM32 0x800U
BOOL WINAPI SetDefaultDllDirectories(DWORD folders);
void WINAPI SetLastError(DWORD code);
DWORD WINAPI FormatMessageW(DWORD flags, LPCVOID source, DWORD message, DWORD language, LPWSTR buffer, DWORD size,
                            void* arguments);
HLOCAL WINAPI LocalFree(HLOCAL memory);

// Where a program with a window begins: what is simulated is called by its own name.
int WINAPI WinMain(HINSTANCE instance, HINSTANCE previous, LPSTR command_line, int show);
