#include "release/tls_server.h"

#include <sys/resource.h>

#include <algorithm>
#include <condition_variable>
#include <system_error>
#include <thread>

#include "release/connection.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

constexpr rlim_t kFilesBesideConnections = 100;
constexpr rlim_t kFilesPerConnection = 2;  // its socket, and the file that it sends
constexpr int kBacklog = 1024;
constexpr std::chrono::milliseconds kLookForRoomEvery{100};

thread_local Connection* served_here = nullptr;

// How many connections the limit of open files allows, once it is raised.
std::size_t raise_connection_limit() {
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) != 0) return 1;
    const rlim_t wanted = kFilesBesideConnections + kFilesPerConnection * kMaxConnections;
    if (files.rlim_cur < wanted) {
        rlimit raised = files;
        raised.rlim_cur = std::min(files.rlim_max, wanted);
        if (::setrlimit(RLIMIT_NOFILE, &raised) == 0) files = raised;
    }
    const rlim_t spare = files.rlim_cur > kFilesBesideConnections ? files.rlim_cur - kFilesBesideConnections : 0;
    return std::clamp<std::size_t>(spare / kFilesPerConnection, 1, kMaxConnections);
}

bool set_up(SSL_CTX* context, const char* certificate, const char* key) {
    SSL_CTX_set_mode(context,
                     SSL_MODE_ENABLE_PARTIAL_WRITE | SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER | SSL_MODE_RELEASE_BUFFERS);
    return SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION) == 1 &&
           SSL_CTX_set_max_proto_version(context, TLS1_2_VERSION) == 1 &&
           SSL_CTX_use_certificate_chain_file(context, certificate) == 1 &&
           SSL_CTX_use_PrivateKey_file(context, key, SSL_FILETYPE_PEM) == 1 && SSL_CTX_check_private_key(context) == 1;
}

}  // namespace

// A thread for each connection, up to `limit` of them. Beyond that `make_room` is asked, and waited for.
class TlsServer::Threads : public httplib::TaskQueue {
 public:
    Threads(std::size_t limit, std::function<void()> make_room) : limit_(limit), make_room_(std::move(make_room)) {}

    void enqueue(std::function<void()> serve_connection) override {
        std::unique_lock lock(mutex_);
        while (running_ >= limit_ || !start(serve_connection)) {
            make_room_();
            ended_.wait_for(lock, kLookForRoomEvery);
        }
        ++running_;
    }

    void shutdown() override {
        std::unique_lock lock(mutex_);
        ended_.wait(lock, [this] { return running_ == 0; });
    }

 private:
    // False if the system has no further thread.
    bool start(const std::function<void()>& serve_connection) {
        try {
            std::thread([this, serve_connection] {
                serve_connection();
                const std::scoped_lock lock(mutex_);
                --running_;
                ended_.notify_all();
            }).detach();
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    }

    std::size_t limit_;
    std::function<void()> make_room_;
    std::mutex mutex_;
    std::condition_variable ended_;
    std::size_t running_ = 0;
};

// Makes a connection known, so that others can cut it off, for as long as this stands.
class TlsServer::Membership {
 public:
    Membership(TlsServer& server, Connection& connection) : server_(server), connection_(connection) {
        const std::scoped_lock lock(server_.mutex_);
        server_.connections_.insert(&connection_);
        if (server_.stopping_) connection_.cut_off();
        served_here = &connection_;
    }
    Membership(const Membership&) = delete;
    Membership& operator=(const Membership&) = delete;
    ~Membership() {
        served_here = nullptr;
        const std::scoped_lock lock(server_.mutex_);
        server_.connections_.erase(&connection_);
    }

 private:
    TlsServer& server_;
    Connection& connection_;
};

TlsServer::TlsServer(const std::filesystem::path& certificate, const std::filesystem::path& certificate_key,
                     const TlsLimits& limits)
    : limits_(limits), context_(SSL_CTX_new(TLS_server_method()), SSL_CTX_free) {
    if (!context_ || !set_up(context_.get(), certificate.c_str(), certificate_key.c_str())) {
        refuse_crypto("cannot use the certificate " + printable(certificate.string()) + " with the key " +
                      printable(certificate_key.string()));
    }
    const std::size_t limit = raise_connection_limit();
    new_task_queue = [this, limit] { return new Threads(limit, [this] { close_most_idle(); }); };
    set_keep_alive_timeout(limits_.idle.count());  // what answers tell the client
}

TlsServer::~TlsServer() = default;

int TlsServer::bind(const std::string& address, int port) {
    int bound = -1;
    if (port == 0) {
        bound = bind_to_any_port(address);
    } else if (bind_to_port(address, port)) {
        bound = port;
    }
    if (bound > 0) ::listen(svr_sock_, kBacklog);  // the library's own backlog has room for a few clients alone
    return bound;
}

void TlsServer::stop_all() {
    {
        const std::scoped_lock lock(mutex_);
        stopping_ = true;
        for (Connection* connection : connections_) connection->cut_off();
    }
    stop();
}

std::string TlsServer::client() {
    return served_here == nullptr ? "-" : served_here->client();
}

void TlsServer::abandon() {
    if (served_here != nullptr) served_here->cut_off();
}

void TlsServer::close_most_idle() {
    const std::scoped_lock lock(mutex_);
    const auto longest = std::min_element(
        connections_.begin(), connections_.end(),
        [](const Connection* a, const Connection* b) { return a->waiting_since() < b->waiting_since(); });
    if (longest != connections_.end() && (*longest)->waiting_since() != Connection::kNotWaiting) (*longest)->cut_off();
}

bool TlsServer::process_and_close_socket(socket_t socket) {
    try {
        Connection connection(socket, context_.get());
        const Membership member(*this, connection);
        serve(connection);
    } catch (const std::exception&) {  // out of memory: this connection is lost, the others are not
        return false;
    }
    return true;
}

void TlsServer::serve(Connection& connection) {
    if (!connection.shake_hands(limits_.step)) {
        const std::string& reason = connection.failure();
        if (!reason.empty() && on_failed_handshake) on_failed_handshake(reason);
        return;
    }
    while (connection.wait_for_request(limits_.idle)) {
        connection.begin_request(limits_.step);
        bool closed = false;
        bool is_kept = false;  // where a request that is malformed ends, nobody knows
        const bool goes_on = process_request(connection, false, closed, [&](httplib::Request& request) {
            is_kept = connection.has_plain_head();
            if (is_kept) return connection.begin_answer();
            request.headers.erase("Connection");
            request.set_header("Connection", "close");  // so the answer says it, too
        });
        if (!goes_on || closed || !is_kept) return;
    }
}

}  // namespace vandrel_release
