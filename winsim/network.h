// The update endpoint behind WinHTTP, scripted by a test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "winsim/bytes.h"

namespace winsim {

// One request as the endpoint sees it, once WinHttpSendRequest has been called.
struct Request {
    bool secure = false;
    std::wstring host;
    std::uint16_t port = 0;
    std::wstring verb;
    std::wstring object;   // path and query
    std::wstring headers;  // as passed to WinHttpSendRequest
    std::wstring agent;
    std::uint32_t protocols = 0;     // value of option 84 on the session
    int timeouts[4] = {0, 0, 0, 0};  // resolve, connect, send, receive
    std::uint32_t access_type = 0;
};

// A wait that would be longer than the session's receive time-out (if it has one) ends there, with error 12002.
struct Response {
    std::uint64_t size() const { return source ? source->size() : body.size(); }

    std::uint32_t status = 200;
    std::string body;
    std::shared_ptr<const Source> source;  // the body instead, if it lies outside
    std::uint32_t send_error = 0;          // WinHttpSendRequest fails with it
    std::uint32_t receive_error = 0;       // WinHttpReceiveResponse fails with it
    std::uint64_t break_at = UINT64_MAX;   // once so many bytes are delivered, WinHttpReadData fails with break_error
    std::uint32_t break_error = 12030;
    std::uint32_t chunk = 0;      // most bytes that one read delivers; 0: as many as it asks for
    std::uint32_t read_ms = 0;    // the clock moves by this at each read
    std::uint32_t byte_ms = 0;    // and by this for each byte that it delivers: none is too late for the time-out
    std::uint32_t answer_ms = 0;  // the clock moves by this before the head arrives
};

// There are no redirects: a status of the 300s reaches the helper as it is.
class Network {
 public:
    Network();
    ~Network();

    // Answers every request; a new world's endpoint refuses connections (12029).
    void serve(std::function<Response(const Request&)> endpoint);
    const std::vector<Request>& requests() const;  // all that were sent, refused ones included
    void forget_requests();
    std::size_t open_handles() const;
    // Names of closed handles in order: "request", "connection", "session".
    const std::vector<std::string>& closed() const;

    struct Impl;
    Impl& impl() { return *impl_; }

 private:
    std::unique_ptr<Impl> impl_;
};

}  // namespace winsim
