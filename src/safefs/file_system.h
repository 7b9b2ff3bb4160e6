// File-system operations on Win32 calls, for what a language library gets wrong here: junctions are seen and never
// walked through, and time stamps keep their 100 ns.
//
// "Missing" is an answer: the error numbers 2, 3, 53, 64, 123 and 267. Every other failure is thrown as a
// std::system_error whose text begins with the named operation (safefs/file_system_error.h).
// Times are 100 ns ticks since 1601 (UTC).
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/unique_handle.h"

namespace vandrel {

// The two halves in which the platform hands out a 64-bit size or time.
std::uint64_t join_halves(DWORD high, DWORD low);

// The first three follow links.
bool exists(const std::wstring& path);           // "exists"
bool is_directory(const std::wstring& path);     // "status"
bool is_regular_file(const std::wstring& path);  // "status"

std::uint64_t last_write_time(const std::wstring& path);  // "last_write_time"; fails also if nothing is there
std::uint64_t system_time();

// Makes `path` and its missing ancestors. An existing folder is no error. Not flushed: a power cut may take any number
// of the made levels back, deepest first. On failure false, with `error` the system's number; levels made stay.
bool try_create_directories(const std::wstring& path, std::uint32_t& error);
void create_directories(const std::wstring& path);  // "create_directories"

// Removes `path` with all that it holds; a junction goes, what it points to stays. Missing pieces are no error. On a
// failure ("remove_all") what has been removed is gone.
//
// Each folder is held open while it is emptied, without sharing its deletion, and what it is is asked of the handle.
// NTFS renames neither a folder that is held so nor any on the way to it, so none of them can be exchanged meanwhile.
// Programs that read a folder (a scanner, an indexer, a window that shows it) are in the way no more than without the
// hold, whatever they share: who doesn't share the deletion keeps the folder from going in any case. What the hold adds
// is a failure beside a program that has a folder open with the right to delete or to rename it; to give way there
// would let in what the hold keeps out.
// Not kept out: who empties a folder himself and turns it into a junction where it stands, between the question to its
// handle and the call that goes by its name.
void remove_all(const std::wstring& path);

// One entry of a folder, as its listing shows it (links not followed).
struct DirectoryEntry {
    std::wstring path;  // folder joined with name
    std::wstring name;
    std::uint32_t attributes = 0;
    std::uint64_t write_time = 0;
};

// Whether an entry is a folder; only a reparse point's status is asked of the disk ("directory_entry::status").
bool is_directory(const DirectoryEntry& entry);

// A folder's entries, "." and ".." left out, in the order that the file system gives.
class DirectoryIterator {
 public:
    // Positions on the first entry that the file system holds for a match of `pattern`, in which "*" stands for any run
    // of characters. It may give more than that (short names match, too), so whoever means a name tests it. Nothing
    // that matches is the end; a missing folder is not: "directory_iterator::directory_iterator".
    explicit DirectoryIterator(const std::wstring& folder, const std::wstring& pattern = L"*");
    // All entries, under other operation names.
    DirectoryIterator(const std::wstring& folder, const char* open_operation, const char* advance_operation);

    bool at_end() const { return at_end_; }
    const DirectoryEntry& entry() const { return entry_; }
    void advance();  // "directory_iterator::operator++"

 private:
    void open(const std::wstring& pattern, const char* operation);
    void accept(const WIN32_FIND_DATAW& data);
    void skip_dots(WIN32_FIND_DATAW& data);

    std::wstring folder_;
    const char* advance_operation_;
    SearchHandle search_;
    DirectoryEntry entry_;
    bool at_end_ = false;
};

// Visits every entry beneath `folder`, a folder before what it holds. Reparse points are visited, not entered.
// "recursive_directory_iterator::recursive_directory_iterator", "recursive_directory_iterator::operator++".
void walk_tree(const std::wstring& folder, const std::function<void(const DirectoryEntry&)>& visit);

}  // namespace vandrel
