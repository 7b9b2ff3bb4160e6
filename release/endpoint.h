// The update endpoint: HTTPS, TLS 1.2 alone, GET /client-brd/updater.php with one of two queries:
//
//   action=manifest&arch=64                          the current release's signed manifest
//   action=download&arch=64&release=N&file=PATH      a file that release N's manifest lists; PATH is percent-encoded
//
// 200 with the exact Content-Length, always the whole; 400 if the query is malformed, incomplete or has a member too
// many; 404 for an action, channel, release or file that isn't there, and for every other path; 416 if only a part is
// asked for; 500 if the tree is damaged.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace vandrel_release {

inline constexpr const char* kEndpointPath = "/client-brd/updater.php";

struct EndpointOptions {
    std::filesystem::path tree;
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;                       // 0: any that is free
    std::filesystem::path certificate;            // PEM, the chain
    std::filesystem::path certificate_key;        // PEM
    std::function<void(const std::string&)> log;  // one line per request, once it has been answered; from any thread:
                                                  // "manifest 200 1234 bytes", "download data/x 200",
                                                  // "request 400"; " broken off" behind it if the client left early
};

// Serves from its construction to its destruction.
class Endpoint {
 public:
    // Clients are answered when it returns. Throws Refusal if the certificate or the port can't be had.
    explicit Endpoint(EndpointOptions options);
    // Breaks transfers off, and waits for their end: up to 2 seconds for an idle connection, 30 for a client that has
    // stopped reading.
    ~Endpoint();
    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;

    std::uint16_t port() const;

    // False once it has given up accepting connections by itself.
    bool is_serving() const;

 private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace vandrel_release
