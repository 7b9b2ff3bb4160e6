// The update endpoint: HTTPS, TLS 1.2 alone, GET /client-brd/updater.php with one of two queries:
//
//   action=manifest&arch=64                          the current release's signed manifest
//   action=download&arch=64&release=N&file=PATH      a file that release N's manifest lists; PATH is percent-encoded
//
// 200 with the exact Content-Length, always the whole; 400 if the query is malformed, incomplete or has a member too
// many; 404 for an action, channel, release or file that isn't there, and for every other path; 416 if only a part is
// asked for; 500 if the tree is damaged. Publications, activations and removed releases are seen by the next request.
//
// A connection serves any number of requests, and closes behind one that is malformed, speaks of a body, or could be
// read in another way by a server in front. It is kept for 120 s between two of them, far longer than the helper
// pauses anywhere (it asks once on each connection, and waits 10 s for an answer), and for 30 s while its client owes
// the rest of a handshake or a request, or doesn't take what it is sent. Up to 2000 connections are held at once, fewer
// if the system's limit of open files wants it; beyond that the one that has owed a request the longest makes way.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "release/fault_plan.h"
#include "release/tls_limits.h"

namespace vandrel_release {

inline constexpr const char* kEndpointPath = "/client-brd/updater.php";

struct EndpointOptions {
    std::filesystem::path tree;
    std::string address = "127.0.0.1";
    std::uint16_t port = 0;                 // 0: any that is free
    std::filesystem::path certificate;      // PEM, the chain
    std::filesystem::path certificate_key;  // PEM
    std::vector<FaultRule> faults;          // answers that shall go wrong
    // Gets one line per request, as exchange.h has it, once it has been answered or broken off; one, "TIME CLIENT 0 0
    // handshake - REASON", for each client that can't agree on TLS and doesn't just leave; and "error: ..." where the
    // tree is damaged. Without a line end, from any thread.
    std::function<void(const std::string&)> log;
    TlsLimits limits = {};
};

// Serves from its construction to its destruction.
class Endpoint {
 public:
    // Clients are answered when it returns. Throws Refusal if the certificate or the port can't be had.
    explicit Endpoint(EndpointOptions options);
    // Breaks transfers off and cuts every connection. Waits for nothing but a read from the disk.
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
