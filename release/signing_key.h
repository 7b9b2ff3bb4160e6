// The publisher's key: RSA, 3072 bits, public exponent of 3 bytes; signatures are RSASSA-PSS over SHA-256, salt 32.
#pragma once

#include <openssl/evp.h>

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

namespace vandrel_release {

struct KeyDeleter {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
using Key = std::unique_ptr<EVP_PKEY, KeyDeleter>;

// A new RSA key with exponent 65537.
Key make_rsa_key(unsigned bits);

// PKCS#8, unencrypted.
std::string private_pem(const Key& key);
// SubjectPublicKeyInfo.
std::string public_pem(const Key& key);

// Reads the private key that signs releases. Throws Refusal if the file can't be read, holds no private key in PEM, is
// encrypted, or holds a key of another form than the helper can verify with.
Key load_signing_key(const std::filesystem::path& path);

// 384 bytes, big-endian as RSA signatures are.
std::string sign(const Key& key, std::string_view bytes);
bool is_signature_valid(const Key& key, std::string_view bytes, std::string_view signature);

// `keygen`: a new key pair in two new files, the private one readable by its owner alone. If either exists, or can't be
// written, nothing is left behind and nothing that stood there is changed.
void write_key_pair(const std::filesystem::path& private_file, const std::filesystem::path& public_file);

}  // namespace vandrel_release
