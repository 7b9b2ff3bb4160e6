#include "release/connection.h"

#include <fcntl.h>
#include <netdb.h>
#include <openssl/err.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <new>

namespace vandrel_release {
namespace {

constexpr std::size_t kMaxRequestBytes = 64U << 10U;

using AddressOf = int (*)(int, sockaddr*, socklen_t*);

void numeric_address(AddressOf address_of, int socket, std::string& address, int& port) {
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
    auto* generic = reinterpret_cast<sockaddr*>(&storage);
    char host[NI_MAXHOST] = "";
    char service[NI_MAXSERV] = "";
    if (address_of(socket, generic, &size) != 0 ||
        ::getnameinfo(generic, size, host, sizeof host, service, sizeof service, NI_NUMERICHOST | NI_NUMERICSERV) !=
            0) {
        return;
    }
    address = host;
    std::from_chars(service, service + std::strlen(service), port);
}

std::string client_of(int socket) {
    std::string address;
    int port = 0;
    numeric_address(::getpeername, socket, address, port);
    if (address.empty()) return "-";
    return (address.find(':') == std::string::npos ? address : "[" + address + "]") + ":" + std::to_string(port);
}

}  // namespace

Connection::Connection(int socket, SSL_CTX* context)
    : socket_(socket),
      client_(client_of(socket)),
      tls_(SSL_new(context), SSL_free),
      waiting_since_(Clock::now().time_since_epoch().count()) {
    if (!tls_ || SSL_set_fd(tls_.get(), socket_) != 1) {
        ::close(socket_);
        throw std::bad_alloc();
    }
    ::fcntl(socket_, F_SETFL, ::fcntl(socket_, F_GETFL) | O_NONBLOCK);
}

Connection::~Connection() {
    if (agreed_ && !cut_off_) SSL_shutdown(tls_.get());
    ERR_clear_error();
    ::shutdown(socket_, SHUT_RDWR);
    ::close(socket_);
}

bool Connection::shake_hands(std::chrono::seconds limit) {
    limit_ = limit;
    deadline_ = Clock::now() + limit;
    agreed_ = carry_out([this] { return SSL_accept(tls_.get()); }) > 0;
    const unsigned long code = ERR_peek_error();
    const bool has_left = ERR_GET_REASON(code) == SSL_R_UNEXPECTED_EOF_WHILE_READING;
    if (!agreed_ && !has_left && ERR_GET_LIB(code) == ERR_LIB_SSL) {
        const char* reason = ERR_reason_error_string(code);
        failure_ = reason == nullptr ? "TLS" : reason;
    }
    ERR_clear_error();
    return agreed_;
}

bool Connection::wait_for_request(std::chrono::seconds limit) {
    waiting_since_ = Clock::now().time_since_epoch().count();
    if (SSL_pending(tls_.get()) > 0) return true;
    deadline_ = Clock::now() + limit;
    return wait_for(POLLIN);
}

void Connection::begin_request(std::chrono::seconds limit) {
    limit_ = limit;
    deadline_ = Clock::now() + limit;
    readable_bytes_ = kMaxRequestBytes;
    head_ = RequestHead();
}

void Connection::cut_off() {
    cut_off_ = true;
    ::shutdown(socket_, SHUT_RDWR);  // wakes whoever waits for the socket
}

ssize_t Connection::read(char* bytes, size_t capacity) {
    std::size_t count = 0;
    const std::size_t wanted = std::min(capacity, readable_bytes_);
    if (wanted == 0) cut_off();  // what follows can't be told from another request
    const int result = carry_out([&] { return SSL_read_ex(tls_.get(), bytes, wanted, &count); });
    readable_bytes_ -= count;
    head_.add({bytes, count});
    return result > 0 ? static_cast<ssize_t>(count) : result;
}

ssize_t Connection::write(const char* bytes, size_t size) {
    if (size == 0) return 0;
    std::size_t count = 0;
    deadline_ = Clock::now() + limit_;
    const int result = carry_out([&] { return SSL_write_ex(tls_.get(), bytes, size, &count); });
    return result > 0 ? static_cast<ssize_t>(count) : -1;
}

void Connection::get_remote_ip_and_port(std::string& address, int& port) const {
    numeric_address(::getpeername, socket_, address, port);
}

void Connection::get_local_ip_and_port(std::string& address, int& port) const {
    numeric_address(::getsockname, socket_, address, port);
}

// Repeats a TLS operation until it has succeeded (its result, above 0), the connection has ended in good form (0), or
// it fails, is cut off or takes too long (-1).
template <class Operation>
int Connection::carry_out(Operation operation) {
    while (!cut_off_) {
        ERR_clear_error();
        const int result = operation();
        if (result > 0) return result;
        const int reason = SSL_get_error(tls_.get(), result);
        if (reason == SSL_ERROR_ZERO_RETURN) return 0;
        const bool may_go_on = (reason == SSL_ERROR_WANT_READ && wait_for(POLLIN)) ||
                               (reason == SSL_ERROR_WANT_WRITE && wait_for(POLLOUT));
        if (!may_go_on) return -1;
    }
    return -1;
}

// True if the socket is ready in time.
bool Connection::wait_for(short events) const {
    while (!cut_off_) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline_ - Clock::now());
        if (left.count() <= 0) return false;
        pollfd waited{socket_, events, 0};
        const int ready = ::poll(&waited, 1, static_cast<int>(left.count()));
        if (ready > 0) return true;
        if (ready < 0 && errno != EINTR) return false;
    }
    return false;
}

}  // namespace vandrel_release
