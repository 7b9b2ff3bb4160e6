// The publisher's signature, checked with the public key that is built into the program.
#pragma once

#include <cstdint>
#include <span>

#include "base/bytes.h"

namespace vandrel {

// True if `signature` (384 bytes) is the publisher's RSASSA-PSS signature, with a salt of 32 bytes, over the SHA-256
// `digest`. False for every other reason too: no provider, no key. Nothing is kept between calls.
bool verify_signature(const Digest& digest, std::span<const std::uint8_t> signature);

}  // namespace vandrel
