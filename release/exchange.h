// One request to the endpoint and what became of it, as its log tells it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "release/served_tree.h"

namespace vandrel_release {

// What a request asks for and what it gets.
struct Answer {
    int status = 200;
    std::string what = "request";  // "manifest" or "download" once that is understood
    std::optional<std::uint32_t> release;
    std::string path;                   // of a download
    std::optional<ServedFile> content;  // with status 200
    std::string error;                  // with status 500: for the publisher alone
};

// Understands the target of a request to the endpoint's path, and finds what it asks for.
Answer answer(ServedTree& tree, const std::string& target);

// One line about one request:
//
//   2026-01-31T12:00:00Z 192.0.2.1:50123 200 513 manifest 42
//   2026-01-31T12:00:01Z 192.0.2.1:50124 200 1048576/20971523 download 42 data/large.pak
//   2026-01-31T12:00:02Z 192.0.2.1:50125 404 0 request - GET /robots.txt
//
// time, client, status, bytes of the body (sent, and of how many if it was broken off), what was asked for, the
// release, and the rest of the line: the path, which the client has chosen, in a printable form.
struct LogLine {
    std::string client;
    int status = 0;
    std::uint64_t sent_bytes = 0;
    std::uint64_t size_bytes = 0;
    std::string what = "request";
    std::optional<std::uint32_t> release;
    std::string path;
};
std::string format(const LogLine& line, std::int64_t unix_time);

}  // namespace vandrel_release
