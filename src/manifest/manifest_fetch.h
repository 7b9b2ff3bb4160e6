// The current manifest's bytes from the update endpoint.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "run/launch_options.h"

namespace vandrel {

inline constexpr std::uint64_t kLargestManifest = 16777216;  // bytes, 16 MiB

// Asks `update_url`?action=manifest&arch=<arch> once, without retries, and gives the body as received, 16 MiB at most.
// It is received where it stays, in one allocation of the largest size, touched as far as it is filled.
// The client's command is read before each read. Throws Failure: the transport's text; "cancelled";
// "Manifesto excede limite ou transferencia incompleta." where the transport has none.
Bytes fetch_manifest(const LaunchOptions& options);

}  // namespace vandrel
