// The rules' guards, small files and texts, as the calls of the platform that they make. Nothing is judged: the bench's
// folders are sound, and a call that must succeed ends the program if it doesn't. Buffers serve for all.
#pragma once

#include <cstddef>
#include <string>

#include "bench/floors/task.h"

namespace floors {

bool look(const std::wstring& path);  // "exists", "is a folder" and a file's size are one and the same call

void guard_prefixes(const std::wstring& path);                                 // path_prefixes_free_of_reparse
void guard_ancestors(const std::wstring& path);                                // ancestors_free_of_reparse
void compare_places(const std::wstring& root, const std::wstring& target);     // is_path_within
void guard_destination(const std::wstring& root, const std::wstring& target);  // validate_download_destination
void create_folders(const std::wstring& path);                                 // create_directories
void ensure_folder(const std::wstring& path);                                  // ensure_safe_directory

// `buffer` becomes folder\file, by way of the conversion of the path from UTF-8.
void name_file(std::wstring& buffer, const std::wstring& folder, const File& file);
void name_parent(std::wstring& buffer, const std::wstring& path);
void convert_to_utf8(const std::wstring& text);
void make_error_text();  // system_error_text, as it is made in front of a call that may fail

void hash_anew(const std::wstring& path);  // sha256_of_file, with a provider of its own
void match(const std::wstring& path);      // file_matches_entry, where the sizes agree

void poll_command(const Task& task);  // read_command
void write_status(const Task& task);
void write_atomic(const std::wstring& root, const std::wstring& destination, const void* content, std::size_t size);

const std::wstring& make_part_path(const std::wstring& destination);  // stands until the next one is made
void promote(const std::wstring& root, const std::wstring& part, const std::wstring& destination);  // promote_part

}  // namespace floors
