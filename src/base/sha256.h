// SHA-256 by the platform's CNG provider, fed piece by piece.
#pragma once

#include <cstddef>
#include <cstdint>

#include "base/bytes.h"
#include "base/unique_handle.h"

namespace vandrel {

// One digest. The steps are separate because callers have their own words for the failure of each: call `open`,
// `prepare`, `create`, then `update` any number of times, then `finish`, and stop at the first that gives false.
// Whatever was opened is released with the object, on every path; the hash object's memory goes last.
class Sha256 {
 public:
    bool open();     // the provider
    bool prepare();  // the hash object's length and memory
    bool create();   // the hash

    // Feeds `size` bytes, in calls of at most 4294967295. No bytes make no call.
    bool update(const std::uint8_t* data, std::uint64_t size);
    bool finish(Digest& digest);

 private:
    Bytes object_;
    AlgorithmProvider provider_;
    HashHandle hash_;
};

}  // namespace vandrel
