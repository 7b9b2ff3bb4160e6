#include "release/helper_image.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>

#include <algorithm>
#include <cstdint>

#include "release/endpoint.h"
#include "release/files.h"
#include "release/manifest_format.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

constexpr std::uint64_t kMaxImageBytes = 64U << 20U;
constexpr std::size_t kLongestEndpoint = 2048;  // UTF-16 units
constexpr std::string_view kScheme = "https://";
constexpr std::uint64_t kMachineX64 = 0x8664;

std::string widened(std::string_view text) {
    std::string units;
    for (const char unit : text) units += {unit, '\0'};
    return units;
}

// The number at that offset; a Refusal if the file ends before it.
std::uint64_t number_at(std::string_view bytes, std::uint64_t offset, unsigned width) {
    if (offset + width > bytes.size()) throw Refusal("is no 64-bit Windows program");
    std::uint64_t value = 0;
    for (unsigned i = width; i > 0; --i) value = value << 8U | static_cast<unsigned char>(bytes[offset + i - 1]);
    return value;
}

// The raw data of each section, by the headers of a portable executable.
std::vector<std::string_view> sections_of(std::string_view bytes) {
    const std::uint64_t header = number_at(bytes, 0, 2) == 0x5A4D ? number_at(bytes, 0x3C, 4) : bytes.size();
    if (number_at(bytes, header, 4) != 0x4550 || number_at(bytes, header + 4, 2) != kMachineX64) {
        throw Refusal("is no 64-bit Windows program");
    }
    std::vector<std::string_view> sections;
    const std::uint64_t count = number_at(bytes, header + 6, 2);
    const std::uint64_t table = header + 24 + number_at(bytes, header + 20, 2);
    for (std::uint64_t entry = table; entry < table + 40 * count; entry += 40) {
        const std::uint64_t begin = std::min<std::uint64_t>(number_at(bytes, entry + 20, 4), bytes.size());
        sections.push_back(bytes.substr(begin, number_at(bytes, entry + 16, 4)));
    }
    return sections;
}

// The text of ASCII letters in UTF-16 from the front of `units` to a zero; empty if there is another unit or no zero.
std::string text_at(std::string_view units) {
    std::string text;
    for (std::size_t at = 0; at + 1 < units.size() && text.size() < kLongestEndpoint; at += 2) {
        if (units[at] == '\0' && units[at + 1] == '\0') return text;
        if (units[at + 1] != '\0' || units[at] <= ' ' || units[at] > '~') return {};
        text += units[at];
    }
    return {};
}

std::string number_of(const Key& key, const char* name) {
    BIGNUM* number = nullptr;
    if (EVP_PKEY_get_bn_param(key.get(), name, &number) != 1) refuse_crypto("the key is no RSA key");
    const std::unique_ptr<BIGNUM, decltype(&BN_free)> owner(number, BN_free);
    std::string bytes(static_cast<std::size_t>(BN_num_bytes(number)), '\0');
    BN_bn2bin(number, reinterpret_cast<unsigned char*>(bytes.data()));
    return bytes;
}

}  // namespace

std::string modulus_of(const Key& key) {
    return number_of(key, OSSL_PKEY_PARAM_RSA_N);
}

std::string exponent_of(const Key& key) {
    return number_of(key, OSSL_PKEY_PARAM_RSA_E);
}

HelperImage::HelperImage(const std::filesystem::path& file) : HelperImage(read_small_file(file, kMaxImageBytes)) {}

HelperImage::HelperImage(std::string program) : bytes_(std::move(program)), sections_(sections_of(bytes_)) {}

bool HelperImage::holds_key(const Key& key) const {
    const std::string modulus = modulus_of(key);
    return std::ranges::any_of(
        sections_, [&](std::string_view section) { return section.find(modulus) != std::string_view::npos; });
}

std::optional<std::string> HelperImage::endpoint() const {
    const std::string start = widened(kScheme);
    std::optional<std::string> found;
    for (const std::string_view section : sections_) {
        for (std::size_t at = 0; (at = section.find(start, at)) != std::string_view::npos; ++at) {
            const std::string text = text_at(section.substr(at));
            if (!text.ends_with(kEndpointPath)) continue;
            if (found && *found != text) return std::nullopt;
            found = text;
        }
    }
    return found;
}

}  // namespace vandrel_release
