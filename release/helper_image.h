// What is built into a helper's executable: the key that it verifies releases with, and the endpoint that it asks.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "release/signing_key.h"

namespace vandrel_release {

inline constexpr std::string_view kHelperName = "Vandrel Updater.exe";

// The numbers of an RSA key: big-endian, without leading zeros.
std::string modulus_of(const Key& key);
std::string exponent_of(const Key& key);

// A 64-bit Windows program, read as bytes: it is never run. What lies outside its sections, such as a publisher's
// signature or an appended archive, isn't looked at.
class HelperImage {
 public:
    // Throws Refusal if the file can't be read, has more than 64 MiB, or is no such program ("is no 64-bit Windows
    // program", without a path).
    explicit HelperImage(const std::filesystem::path& file);
    // The same of a program's bytes.
    explicit HelperImage(std::string program);

    // Whether the key's modulus stands in it, 384 bytes in one piece, as the helper's sources have it. A program that
    // is packed or compiled in another way may hold a key that isn't found; none is found that isn't there.
    bool holds_key(const Key& key) const;

    // The one text in UTF-16 that begins with "https://" and ends, before a zero, with "/client-brd/updater.php".
    // Nothing if there is none, or if there are different ones: then it can't be told which is asked.
    std::optional<std::string> endpoint() const;

 private:
    std::string bytes_;
    std::vector<std::string_view> sections_;  // of bytes_
};

}  // namespace vandrel_release
