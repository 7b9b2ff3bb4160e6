// How long a client of the endpoint may keep its connection.
#pragma once

#include <chrono>

namespace vandrel_release {

struct TlsLimits {
    std::chrono::seconds idle{120};  // between two requests, without a byte
    // From its connection to the end of the handshake, for each request from its first byte to the end of its head, and
    // for taking each piece of an answer.
    std::chrono::seconds step{30};
};

}  // namespace vandrel_release
