// WinHTTP's handles as the platform calls see them.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "winsim/handle_table.h"
#include "winsim/network.h"

namespace winsim {

inline constexpr std::uintptr_t kFirstInternetHandle = 0x50000004;

struct InternetHandle {
    enum class Kind : std::uint8_t { session, connection, request };
    enum class Stage : std::uint8_t { made, sent, answered };  // of a request
    Kind kind;
    Request request;  // as far as it is known: a session's settings, a connection's host as well
    Stage stage = Stage::made;
    Response response;
    std::uint64_t delivered = 0;
};

struct Network::Impl {
    void* add(InternetHandle handle);
    InternetHandle* find(const void* handle, InternetHandle::Kind kind);  // null: no open handle of that kind
    bool close(const void* handle);                                       // false: no such handle is open
    void close_all();

    std::function<Response(const Request&)> endpoint;
    std::vector<Request> requests;
    std::vector<std::string> closed;
    HandleTable<std::unique_ptr<InternetHandle>> handles{kFirstInternetHandle};
};

}  // namespace winsim
