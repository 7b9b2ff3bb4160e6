#pragma once

#include <windows.h>

#include <exception>

#include "../vandrel_client.h"

namespace vandrel_client {

// A failure on its way to the C interface: its result, and the system's reason (0: the system has none).
struct ClientError : std::exception {
    explicit ClientError(vandrel_result failure, DWORD reason = GetLastError())
        : result(failure), system_error(reason) {}

    vandrel_result result;
    DWORD system_error;
};

}  // namespace vandrel_client
