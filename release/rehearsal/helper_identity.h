// What a helper's executable was built with, as far as its bytes tell.
#pragma once

#include <string>
#include <string_view>

#include "release/signing_key.h"

namespace vandrel_release {

// Both numbers big-endian, without leading zeros.
struct PublicNumbers {
    std::string exponent;
    std::string modulus;
};

PublicNumbers public_numbers(const Key& key);

// Whether the key's modulus stands in the executable.
bool is_built_with(std::string_view executable, const PublicNumbers& key);

// The endpoint that the executable asks; "" if it holds none, or several that differ. It is the one text in UTF-16 that
// begins with "https://", ends in the endpoint's path, and has a zero behind it.
std::string endpoint_in(std::string_view executable);

}  // namespace vandrel_release
