// Snapshots of the running processes.
#pragma once

#include <windows.h>

#define TH32CS_SNAPPROCESS 2U

struct PROCESSENTRY32W {
    DWORD dwSize;
    DWORD cntUsage;
    DWORD th32ProcessID;
    ULONG_PTR th32DefaultHeapID;
    DWORD th32ModuleID;
    DWORD cntThreads;
    DWORD th32ParentProcessID;
    LONG pcPriClassBase;
    DWORD dwFlags;
    WCHAR szExeFile[MAX_PATH];
};

HANDLE WINAPI CreateToolhelp32Snapshot(DWORD flags, DWORD process_id);
BOOL WINAPI Process32FirstW(HANDLE snapshot, PROCESSENTRY32W* entry);
BOOL WINAPI Process32NextW(HANDLE snapshot, PROCESSENTRY32W* entry);
