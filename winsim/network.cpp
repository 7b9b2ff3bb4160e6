#include "winsim/network.h"

#include <utility>

#include "winsim/network_impl.h"

namespace winsim {
namespace {

constexpr std::uint32_t kCannotConnect = 12029;

Response refuse(const Request&) {
    Response response;
    response.send_error = kCannotConnect;
    return response;
}

const char* name_of(InternetHandle::Kind kind) {
    if (kind == InternetHandle::Kind::request) return "request";
    return kind == InternetHandle::Kind::connection ? "connection" : "session";
}

}  // namespace

void* Network::Impl::add(InternetHandle handle) {
    return handles.add(std::make_unique<InternetHandle>(std::move(handle)));
}

InternetHandle* Network::Impl::find(const void* handle, InternetHandle::Kind kind) {
    const std::unique_ptr<InternetHandle>* found = handles.find(handle);
    return found != nullptr && (*found)->kind == kind ? found->get() : nullptr;
}

bool Network::Impl::close(const void* handle) {
    const std::unique_ptr<InternetHandle>* found = handles.find(handle);
    if (found == nullptr) return false;
    closed.emplace_back(name_of((*found)->kind));
    handles.remove(handle);
    return true;
}

void Network::Impl::close_all() {
    handles.clear();
}

Network::Network() : impl_(std::make_unique<Impl>()) {
    impl_->endpoint = refuse;
}
Network::~Network() = default;

void Network::serve(std::function<Response(const Request&)> endpoint) {
    impl_->endpoint = std::move(endpoint);
}
const std::vector<Request>& Network::requests() const {
    return impl_->requests;
}
void Network::forget_requests() {
    impl_->requests.clear();
}
std::size_t Network::open_handles() const {
    return impl_->handles.size();
}
const std::vector<std::string>& Network::closed() const {
    return impl_->closed;
}

}  // namespace winsim
