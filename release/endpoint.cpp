#include "release/endpoint.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <optional>
#include <thread>

#include "release/exchange.h"
#include "release/refusal.h"
#include "release/served_tree.h"
#include "release/tls_server.h"

namespace vandrel_release {
namespace {

constexpr std::size_t kRequestsPerConnection = 1000000;
constexpr std::size_t kMaxRequestBodyBytes = 4096;  // no request has a body
constexpr std::size_t kChunkBytes = 64U << 10U;
constexpr std::chrono::seconds kStallTime{60};
constexpr std::chrono::milliseconds kLookEvery{50};
constexpr const char* kContentType = "application/octet-stream";

// The request that this thread answers: a connection has a thread of its own.
thread_local LogLine exchange;

// The body of one answer.
struct Body {
    ServedFile source;
    std::optional<Fault> fault;

    std::uint64_t broken_off_at() const {
        return fault == Fault::kTruncate || fault == Fault::kStall ? source.size / 2 : source.size;
    }
};

// Sends some bytes from `offset` on. False if the answer ends here.
bool send_chunk(const Body& body, std::uint64_t offset, httplib::DataSink& sink) {
    const std::uint64_t left = body.broken_off_at() - offset;
    std::vector<char> buffer(static_cast<std::size_t>(std::min<std::uint64_t>(left, kChunkBytes)));
    const ssize_t count = ::pread(body.source.file.get(), buffer.data(), buffer.size(), static_cast<off_t>(offset));
    if (count <= 0) return false;
    const std::uint64_t middle = body.source.size / 2;
    const auto end = offset + static_cast<std::uint64_t>(count);
    if (body.fault == Fault::kCorrupt && offset <= middle && middle < end) buffer[middle - offset] ^= 1;
    if (!sink.write(buffer.data(), static_cast<std::size_t>(count))) return false;
    exchange.sent_bytes = end;
    return true;
}

}  // namespace

struct Endpoint::Impl {
    EndpointOptions options;
    ServedTree tree;
    FaultPlan faults;
    TlsServer server;
    std::thread acceptor;
    std::atomic<bool> accepting = false;
    std::uint16_t port = 0;

    explicit Impl(EndpointOptions given)
        : options(std::move(given)),
          tree(options.tree),
          faults(options.faults),
          server(options.certificate, options.certificate_key, options.limits) {}

    void set_up() {
        server.set_keep_alive_max_count(kRequestsPerConnection);
        server.set_payload_max_length(kMaxRequestBodyBytes);
        server.set_tcp_nodelay(true);
        // Not the library's default, which would let a second server share the port unseen.
        server.set_socket_options([](socket_t socket) {
            const int on = 1;
            ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        });
        server.set_default_headers({{"Cache-Control", "no-store"}});
        server.Get("/client-brd/updater\\.php",
                   [this](const httplib::Request& request, httplib::Response& response) { handle(request, response); });
        server.set_logger(
            [this](const httplib::Request& request, const httplib::Response& response) { log(request, response); });
        server.on_failed_handshake = [this](const std::string& reason) {
            options.log(format({TlsServer::client(), 0, 0, 0, "handshake", std::nullopt, reason}, std::time(nullptr)));
        };
    }

    void handle(const httplib::Request& request, httplib::Response& response) {
        Answer answered = answer(tree, request.target);
        if (!request.ranges.empty()) {
            answered.status = 416;
            answered.content.reset();
        }
        if (!answered.error.empty()) options.log("error: " + answered.error);
        response.status = answered.status;
        exchange = LogLine{"", answered.status, 0, 0, answered.what, answered.release, answered.path};
        if (answered.content) give(std::move(*answered.content), response);
    }

    void give(ServedFile content, httplib::Response& response) {
        if (content.size == 0) {  // to the library, a provider of no bytes is none
            response.set_content("", kContentType);
            return;
        }
        const auto body = std::make_shared<Body>(Body{std::move(content), faults.next(exchange.what)});
        exchange.size_bytes = body->source.size;
        if (body->fault) exchange.what += std::string("!") + name_of(*body->fault);
        if (body->fault == Fault::kClose) TlsServer::abandon();
        if (body->fault == Fault::kStatus503) {
            response.status = exchange.status = 503;
            exchange.size_bytes = 0;
            return;
        }
        response.set_content_provider(body->source.size, kContentType,
                                      [this, body](std::size_t offset, std::size_t, httplib::DataSink& sink) {
                                          return provide(*body, offset, sink);
                                      });
    }

    bool provide(const Body& body, std::uint64_t offset, httplib::DataSink& sink) const {
        if (offset < body.broken_off_at()) return !server.is_stopping() && send_chunk(body, offset, sink);
        const auto end = std::chrono::steady_clock::now() + kStallTime;
        while (body.fault == Fault::kStall && !server.is_stopping() && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(kLookEvery);
        }
        return false;
    }

    // Called by the library for each request, once nothing more of the answer follows.
    void log(const httplib::Request& request, const httplib::Response& response) const {
        if (exchange.what == "request") exchange.path = request.method + " " + request.target;
        if (request.method == "HEAD") exchange.size_bytes = 0;
        exchange.client = TlsServer::client();
        exchange.status = response.status;
        options.log(format(exchange, std::time(nullptr)));
        exchange = LogLine();
    }

    void bind() {
        const int bound = server.bind(options.address, options.port);
        if (bound <= 0) {
            throw Refusal("cannot listen on " + printable(options.address) + " port " + std::to_string(options.port));
        }
        port = static_cast<std::uint16_t>(bound);
    }

    void start() {
        accepting = true;
        acceptor = std::thread([this] {
            server.listen_after_bind();
            accepting = false;
        });
        while (accepting && !server.is_running()) {  // a stop before that would go unheard
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    void stop() {
        server.stop_all();
        acceptor.join();
    }
};

Endpoint::Endpoint(EndpointOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {
    impl_->set_up();
    impl_->bind();
    impl_->start();
}

Endpoint::~Endpoint() {
    impl_->stop();
}

std::uint16_t Endpoint::port() const {
    return impl_->port;
}

bool Endpoint::is_serving() const {
    return impl_->accepting;
}

}  // namespace vandrel_release
