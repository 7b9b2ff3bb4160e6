#include "release/serve.h"

#include <csignal>
#include <memory>
#include <mutex>
#include <ostream>

#include "release/endpoint.h"
#include "release/refusal.h"
#include "release/test_certificate.h"

namespace vandrel_release {
namespace {

constexpr timespec kLookEvery{0, 200'000'000};

// SIGINT and SIGTERM are blocked as long as this stands; threads that are made meanwhile inherit that.
class StopSignals {
 public:
    StopSignals() {
        ::sigemptyset(&set_);
        ::sigaddset(&set_, SIGINT);
        ::sigaddset(&set_, SIGTERM);
        ::pthread_sigmask(SIG_BLOCK, &set_, &before_);
    }
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;
    ~StopSignals() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

    // True if one came, false after a moment without.
    bool wait() const { return ::sigtimedwait(&set_, nullptr, &kLookEvery) > 0; }

 private:
    sigset_t set_{};
    sigset_t before_{};
};

std::string url_of(const std::string& address, std::uint16_t port) {
    const bool is_v6 = address.find(':') != std::string::npos;
    return "https://" + (is_v6 ? "[" + address + "]" : address) + ":" + std::to_string(port) + kEndpointPath;
}

}  // namespace

void serve(const ServeOptions& options, std::ostream& out) {
    if (!std::filesystem::is_directory(options.tree)) {
        throw Refusal(printable(options.tree.string()) + " is not a folder");
    }
    const StopSignals signals;
    EndpointOptions endpoint_options{
        options.tree, options.address, options.port, options.certificate, options.certificate_key, options.faults, {}};
    if (!options.make_certificate.empty()) {
        const TestCertificate made = make_test_certificate(options.make_certificate, options.hosts);
        endpoint_options.certificate = made.certificate;
        endpoint_options.certificate_key = made.key;
    }
    std::mutex mutex;
    const auto print = [&](const std::string& line) {
        const std::scoped_lock lock(mutex);
        out << line << '\n' << std::flush;
    };
    endpoint_options.log = print;
    auto endpoint = std::make_unique<Endpoint>(std::move(endpoint_options));
    print("serving " + url_of(options.address, endpoint->port()));
    while (!signals.wait()) {
        if (!endpoint->is_serving()) throw Refusal("connections can no longer be accepted");
    }
}

}  // namespace vandrel_release
