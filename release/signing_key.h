// The key that signs releases: RSA, 3072 bits, public exponent of 3 bytes; signatures are RSASSA-PSS over SHA-256,
// salt 32.
#pragma once

#include <openssl/evp.h>

#include <memory>
#include <string>
#include <string_view>

#include "release/passphrase.h"

namespace vandrel_release {

struct KeyDeleter {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using Key = std::unique_ptr<EVP_PKEY, KeyDeleter>;

// A new RSA key with exponent 65537.
Key make_rsa_key(unsigned bits);

// PKCS#8, unencrypted.
std::string private_pem(const Key& key);
// PKCS#8, encrypted with AES-256-CBC under scrypt (N 16384, r 8, p 5), so that the openssl command opens it too.
std::string encrypted_private_pem(const Key& key, const Passphrase& passphrase);
// SubjectPublicKeyInfo.
std::string public_pem(const Key& key);

// 384 bytes, big-endian as RSA signatures are.
std::string sign(const Key& key, std::string_view bytes);
bool is_signature_valid(const Key& key, std::string_view bytes, std::string_view signature);

}  // namespace vandrel_release
