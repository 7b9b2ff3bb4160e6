#include "release/endpoint.h"

#include <httplib.h>
#include <openssl/ssl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <map>
#include <optional>
#include <thread>
#include <vector>

#include "release/query.h"
#include "release/refusal.h"
#include "release/served_tree.h"
#include "release/tree.h"

namespace vandrel_release {
namespace {

constexpr std::size_t kConnectionThreads = 32;
constexpr std::size_t kRequestsPerConnection = 100000;
constexpr std::time_t kIdleSeconds = 2;  // bounds how long a stop waits for an idle connection
constexpr std::time_t kTransferSeconds = 30;
constexpr std::size_t kChunkBytes = 64U << 10U;
constexpr const char* kContentType = "application/octet-stream";

using Members = std::map<std::string, std::string>;

struct Answer {
    int status = 200;
    std::optional<ServedFile> content;  // with status 200
};

bool has_exactly(const Members& members, const std::vector<std::string>& names) {
    return members.size() == names.size() &&
           std::all_of(names.begin(), names.end(), [&](const std::string& name) { return members.count(name) == 1; });
}

Answer from_tree(std::optional<ServedFile> content) {
    return content ? Answer{200, std::move(content)} : Answer{404, std::nullopt};
}

Answer answer_manifest(ServedTree& tree, const Members& query) {
    if (!has_exactly(query, {"action", "arch"})) {
        return {400, std::nullopt};
    }
    return query.at("arch") == kArch ? from_tree(tree.open_manifest()) : Answer{404, std::nullopt};
}

Answer answer_download(ServedTree& tree, const Members& query) {
    if (!has_exactly(query, {"action", "arch", "release", "file"})) {
        return {400, std::nullopt};
    }
    const std::optional<std::uint32_t> release = parse_release_number(query.at("release"));
    if (!release) {
        return {400, std::nullopt};
    }
    return query.at("arch") == kArch ? from_tree(tree.open_file(*release, query.at("file")))
                                     : Answer{404, std::nullopt};
}

Answer answer(ServedTree& tree, const std::string& target) {
    const std::optional<Members> query = parse_query(target);
    if (!query || query->count("action") == 0) {
        return {400, std::nullopt};
    }
    const std::string& action = query->at("action");
    if (action == "manifest") return answer_manifest(tree, *query);
    return action == "download" ? answer_download(tree, *query) : Answer{404, std::nullopt};
}

// What the log says a request was about.
std::string subject_of(const httplib::Request& request) {
    const Members query = parse_query(request.target).value_or(Members());
    const auto action = query.find("action");
    if (request.path != kEndpointPath || action == query.end()) return "request";
    const auto file = query.find("file");
    if (action->second == "download" && file != query.end()) return "download " + printable(file->second);
    return action->second == "manifest" ? "manifest" : "request";
}

std::string log_line(const httplib::Request& request, const httplib::Response& response) {
    const std::string subject = subject_of(request);
    std::string line = subject + " " + std::to_string(response.status);
    if (subject == "manifest" && response.status == 200) {
        line += " " + response.get_header_value("Content-Length") + " bytes";
    }
    const bool has_body =
        response.status == 200 && request.method != "HEAD" && response.get_header_value("Content-Length") != "0";
    return has_body && !response.content_provider_success_ ? line + " broken off" : line;
}

std::string reason_of(const std::exception_ptr& failure) {
    try {
        std::rethrow_exception(failure);
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "unknown";
    }
}

bool load_certificate(SSL_CTX& context, const EndpointOptions& options) {
    return SSL_CTX_set_min_proto_version(&context, TLS1_2_VERSION) == 1 &&
           SSL_CTX_set_max_proto_version(&context, TLS1_2_VERSION) == 1 &&
           SSL_CTX_use_certificate_chain_file(&context, options.certificate.c_str()) == 1 &&
           SSL_CTX_use_PrivateKey_file(&context, options.certificate_key.c_str(), SSL_FILETYPE_PEM) == 1 &&
           SSL_CTX_check_private_key(&context) == 1;
}

}  // namespace

struct Endpoint::Impl {
    EndpointOptions options;
    ServedTree tree;
    httplib::SSLServer server;
    std::thread acceptor;
    std::atomic<bool> accepting = false;
    std::atomic<bool> stopping = false;
    std::uint16_t port = 0;

    explicit Impl(EndpointOptions given)
        : options(std::move(given)),
          tree(options.tree),
          server([this](SSL_CTX& context) { return load_certificate(context, options); }) {}

    void set_up() {
        server.new_task_queue = [] { return new httplib::ThreadPool(kConnectionThreads); };
        server.set_keep_alive_max_count(kRequestsPerConnection);
        server.set_keep_alive_timeout(kIdleSeconds);
        server.set_read_timeout(kTransferSeconds);
        server.set_write_timeout(kTransferSeconds);
        server.set_tcp_nodelay(true);
        // Not the library's default, which would let a second server share the port unseen.
        server.set_socket_options([](socket_t socket) {
            const int on = 1;
            ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        });
        server.set_default_headers({{"Cache-Control", "no-store"}});
        server.Get("/client-brd/updater\\.php",
                   [this](const httplib::Request& request, httplib::Response& response) { handle(request, response); });
        server.set_exception_handler(
            [this](const httplib::Request&, httplib::Response& response, std::exception_ptr failure) {
                response.status = 500;  // the reason is the publisher's business alone
                options.log("error: " + reason_of(failure));
            });
        server.set_logger([this](const httplib::Request& request, const httplib::Response& response) {
            options.log(log_line(request, response));
        });
    }

    void handle(const httplib::Request& request, httplib::Response& response) {
        Answer answered = request.ranges.empty() ? answer(tree, request.target) : Answer{416, std::nullopt};
        response.status = answered.status;
        if (!answered.content) return;
        if (answered.content->size == 0) {  // to the library, a provider of no bytes is none
            response.set_content("", kContentType);
            return;
        }
        const auto size = static_cast<std::size_t>(answered.content->size);
        const auto file = std::make_shared<FileHandle>(std::move(answered.content->file));
        response.set_content_provider(size, kContentType,
                                      [this, file](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                          return !stopping && send_chunk(*file, offset, length, sink);
                                      });
    }

    static bool send_chunk(const FileHandle& file, std::size_t offset, std::size_t length, httplib::DataSink& sink) {
        std::vector<char> buffer(std::min(length, kChunkBytes));
        const ssize_t count = ::pread(file.get(), buffer.data(), buffer.size(), static_cast<off_t>(offset));
        return count > 0 && sink.write(buffer.data(), static_cast<std::size_t>(count));
    }

    void bind() {
        const int wanted = options.port;
        int bound = -1;
        if (wanted == 0) {
            bound = server.bind_to_any_port(options.address);
        } else if (server.bind_to_port(options.address, wanted)) {
            bound = wanted;
        }
        if (bound <= 0) {
            throw Refusal("cannot listen on " + printable(options.address) + " port " + std::to_string(wanted));
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
        stopping = true;
        server.stop();
        acceptor.join();
    }
};

Endpoint::Endpoint(EndpointOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {
    if (!impl_->server.is_valid()) {
        refuse_crypto("cannot use the certificate " + printable(impl_->options.certificate.string()) +
                      " with the key " + printable(impl_->options.certificate_key.string()));
    }
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
