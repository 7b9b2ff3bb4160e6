// One client's TLS connection: no operation on it takes longer than it is given, and any thread can cut it off.
#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <memory>
#include <string>

#include "release/request_head.h"

namespace vandrel_release {

class Connection : public httplib::Stream {
 public:
    using Clock = std::chrono::steady_clock;
    static constexpr Clock::rep kNotWaiting = std::numeric_limits<Clock::rep>::max();

    // Owns the socket. Throws std::bad_alloc if there is no memory for the connection.
    Connection(int socket, SSL_CTX* context);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() override;

    // False if TLS couldn't be agreed within `limit`; failure() then says why, and is empty if the client left, said
    // nothing or was cut off.
    bool shake_hands(std::chrono::seconds limit);
    const std::string& failure() const { return failure_; }

    // True once the first byte of a request is there; false if the client left, was cut off, or was silent that long.
    bool wait_for_request(std::chrono::seconds limit);
    // From now on reading may take `limit` in all and give 64 KiB, and each piece of the answer as long to be taken by
    // the client.
    void begin_request(std::chrono::seconds limit);
    // The request has been read: its client owes nothing more.
    void begin_answer() { waiting_since_ = kNotWaiting; }

    // Whether the request's head, as far as it has been read, is one that a server in front reads the same way.
    bool has_plain_head() const { return head_.is_plain(); }

    // Everything fails from now on. May be called from any thread as long as the connection stands.
    void cut_off();

    // Since when its client is waited for, a request that it has begun included; kNotWaiting while it is answered.
    Clock::rep waiting_since() const { return waiting_since_; }

    // "192.0.2.1:50123"; "[2001:db8::1]:50123"; "-" if it had left before it was looked at
    const std::string& client() const { return client_; }

    bool is_readable() const override { return true; }  // reading waits by itself, and so does writing
    bool is_writable() const override { return !cut_off_; }
    ssize_t read(char* bytes, size_t capacity) override;  // 0 at the end, -1 for a failure
    ssize_t write(const char* bytes, size_t size) override;
    void get_remote_ip_and_port(std::string& address, int& port) const override;
    void get_local_ip_and_port(std::string& address, int& port) const override;
    socket_t socket() const override { return socket_; }

 private:
    template <class Operation>
    int carry_out(Operation operation);
    bool wait_for(short events) const;

    int socket_;
    std::string client_;  // a connection that broke can no longer tell
    std::unique_ptr<SSL, decltype(&SSL_free)> tls_;
    bool agreed_ = false;
    std::string failure_;
    std::chrono::seconds limit_{};
    std::size_t readable_bytes_ = 0;  // of this request
    RequestHead head_;
    Clock::time_point deadline_{};
    std::atomic<bool> cut_off_ = false;
    std::atomic<Clock::rep> waiting_since_;
};

}  // namespace vandrel_release
