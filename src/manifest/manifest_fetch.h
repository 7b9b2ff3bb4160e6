// The current manifest's bytes from the update endpoint.
#pragma once

#include <cstdint>

#include "launcher/launch_options.h"
#include "manifest/manifest.h"

namespace vandrel {

inline constexpr std::uint64_t kLargestManifest = 16777216;  // bytes, 16 MiB

// Asks `update_url`?action=manifest&arch=<arch> once, without retries, and gives the body as received, 16 MiB at most.
// It is received where it stays: a server has no more memory of the helper's than the largest record takes.
// The client's command is read before each read. Throws Failure: the transport's text; "cancelled";
// "Manifesto excede limite ou transferencia incompleta." where the transport has none.
SignedBytes fetch_manifest(const LaunchOptions& options);

}  // namespace vandrel
