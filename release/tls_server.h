// HTTPS for many clients, most of which may be silent: TLS 1.2 alone, and a thread for each connection, which sleeps as
// long as its client says nothing. HTTP itself is the library's.
#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>

#include "release/tls_limits.h"

namespace vandrel_release {

inline constexpr std::size_t kMaxConnections = 2000;

class Connection;

class TlsServer : public httplib::Server {
 public:
    // PEM files: the chain, and its key. Throws Refusal if they can't be used. Raises the process's limit of open files
    // as far as kMaxConnections need and the system lets it; what it gets bounds the number of connections.
    TlsServer(const std::filesystem::path& certificate, const std::filesystem::path& certificate_key,
              const TlsLimits& limits);
    ~TlsServer() override;

    // As Server::bind_to_port and bind_to_any_port, with room for many clients who connect at once. Port 0: any that is
    // free. Gives the port; 0 or less if it can't be had.
    int bind(const std::string& address, int port);

    // Cuts every connection off, and has listen_after_bind() return once their handlers have.
    void stop_all();
    bool is_stopping() const { return stopping_; }

    // One line about each connection on which TLS could not be agreed.
    std::function<void(const std::string&)> on_failed_handshake;

    // Of the connection that the calling thread serves. The client: "192.0.2.1:50123" or "[2001:db8::1]:50123"; "-" on
    // any other thread. Abandoned, nothing more is sent on it, and it closes when its handler has returned.
    static std::string client();
    static void abandon();

 private:
    class Threads;
    class Membership;
    bool process_and_close_socket(socket_t socket) override;
    void serve(Connection& connection);
    void close_most_idle();

    TlsLimits limits_;
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
    std::atomic<bool> stopping_ = false;
    std::mutex mutex_;
    std::set<Connection*> connections_;
};

}  // namespace vandrel_release
