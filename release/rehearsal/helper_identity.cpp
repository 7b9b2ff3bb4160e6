#include "release/rehearsal/helper_identity.h"

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>

#include <memory>

#include "release/endpoint.h"

namespace vandrel_release {
namespace {

constexpr std::size_t kLongestEndpoint = 300;  // a host name has 253 at most

std::string number_of(const EVP_PKEY* key, const char* name) {
    BIGNUM* number = nullptr;
    if (EVP_PKEY_get_bn_param(key, name, &number) != 1) return {};
    const std::unique_ptr<BIGNUM, decltype(&BN_free)> owned(number, BN_free);
    std::string bytes(static_cast<std::size_t>(BN_num_bytes(number)), '\0');
    BN_bn2bin(number, reinterpret_cast<unsigned char*>(bytes.data()));
    return bytes;
}

std::string in_utf16(std::string_view ascii) {
    std::string units;
    for (const char unit : ascii) {
        units += unit;
        units += '\0';
    }
    return units;
}

// The text in ASCII that begins at `at` and has a zero behind it; "" if there is something else.
std::string text_at(std::string_view bytes, std::size_t at) {
    std::string text;
    for (; at + 1 < bytes.size() && text.size() <= kLongestEndpoint; at += 2) {
        if (bytes[at + 1] != '\0' || bytes[at] < 0) return {};
        if (bytes[at] == '\0') return text;
        text += bytes[at];
    }
    return {};
}

}  // namespace

PublicNumbers public_numbers(const Key& key) {
    return {number_of(key.get(), OSSL_PKEY_PARAM_RSA_E), number_of(key.get(), OSSL_PKEY_PARAM_RSA_N)};
}

bool is_built_with(std::string_view executable, const PublicNumbers& key) {
    return executable.find(key.modulus) != std::string_view::npos;
}

std::string endpoint_in(std::string_view executable) {
    static const std::string begin = in_utf16("https://");
    std::string found;
    for (std::size_t at = executable.find(begin); at != std::string_view::npos; at = executable.find(begin, at + 1)) {
        const std::string text = text_at(executable, at);
        if (!text.ends_with(kEndpointPath) || text == found) continue;
        if (!found.empty()) return {};
        found = text;
    }
    return found;
}

}  // namespace vandrel_release
