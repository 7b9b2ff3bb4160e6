// What there is to do, and the moments at which the measuring program reads its counters.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace floors {

// One file of the release. Both paths are relative and ASCII.
struct File {
    std::string wire_path;  // with "/"
    std::wstring path;      // with "\"
    std::uint64_t size = 0;
    bool existed = false;  // something stands at its place
};

struct Task {
    std::wstring root;         // the client's folder
    std::wstring transaction;  // the transaction's folder, with what is staged ("files") and replaced ("backup")
    std::wstring staged;
    std::wstring backup;
    std::wstring record;  // the active record
    std::uint64_t record_size = 0;
    std::wstring command_file;  // need not be there
    std::wstring status_file;
    std::wstring url;  // of the endpoint, without a query
    std::vector<File> files;
};

// Reads lines "NAME<TAB>VALUE" (root, transaction, record_size, command_file, status_file, url), an empty one, then
// "SIZE<TAB>0 or 1<TAB>PATH" for each file. Ends the program if the file can't be read.
Task read_task(const wchar_t* file);

// Prints `word` as a line, and stands still until a line comes in.
void gate(const char* word);

}  // namespace floors
