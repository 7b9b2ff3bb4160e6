// `serve`: the endpoint as a process, until a signal ends it.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "release/fault_plan.h"

namespace vandrel_release {

struct ServeOptions {
    std::filesystem::path tree;
    std::uint16_t port = 8443;
    std::string address = "127.0.0.1";
    std::filesystem::path certificate;  // both, or neither with make_certificate
    std::filesystem::path certificate_key;
    std::filesystem::path make_certificate;  // the folder for a new test certificate
    std::vector<std::string> hosts;          // for the new certificate
    std::vector<FaultRule> faults;
};

// Prints "serving URL" when clients can connect, then a line per request (see endpoint.h); each line is flushed.
// Returns soon after SIGINT or SIGTERM, whatever clients do. Throws Refusal if it can't serve, or no longer can. To be
// called while the process has no other thread.
void serve(const ServeOptions& options, std::ostream& out);

}  // namespace vandrel_release
