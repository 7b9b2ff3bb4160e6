#include "release/signing_key.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>

#include <cstdint>

#include "release/manifest_format.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

constexpr int kSaltBytes = 32;
constexpr int kScryptSaltBytes = 16;
constexpr std::uint64_t kScryptN = 1U << 14U;  // with r, 16 MiB: what OpenSSL opens by default is at most 32
constexpr std::uint64_t kScryptR = 8;
constexpr std::uint64_t kScryptP = 5;

using Bio = std::unique_ptr<BIO, decltype(&BIO_free)>;
using PrivateKeyInfo = std::unique_ptr<PKCS8_PRIV_KEY_INFO, decltype(&PKCS8_PRIV_KEY_INFO_free)>;
using Encrypted = std::unique_ptr<X509_SIG, decltype(&X509_SIG_free)>;
using Context = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

std::string content_of(const Bio& bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

void use_pss(EVP_PKEY_CTX* settings) {
    if (EVP_PKEY_CTX_set_rsa_padding(settings, RSA_PKCS1_PSS_PADDING) != 1 ||
        EVP_PKEY_CTX_set_rsa_pss_saltlen(settings, kSaltBytes) != 1 ||
        EVP_PKEY_CTX_set_rsa_mgf1_md(settings, EVP_sha256()) != 1) {
        refuse_crypto("cannot set up RSASSA-PSS");
    }
}

const unsigned char* raw(std::string_view bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

}  // namespace

Key make_rsa_key(unsigned bits) {
    Key key(EVP_RSA_gen(bits));  // its public exponent is 65537
    if (!key) refuse_crypto("cannot make an RSA key");
    return key;
}

std::string private_pem(const Key& key) {
    const Bio bio(BIO_new(BIO_s_mem()), BIO_free);
    if (!bio || PEM_write_bio_PKCS8PrivateKey(bio.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        refuse_crypto("cannot encode the private key");
    }
    return content_of(bio);
}

std::string encrypted_private_pem(const Key& key, const Passphrase& passphrase) {
    const PrivateKeyInfo info(EVP_PKEY2PKCS8(key.get()), PKCS8_PRIV_KEY_INFO_free);
    X509_ALGOR* algorithm =
        PKCS5_pbe2_set_scrypt(EVP_aes_256_cbc(), nullptr, kScryptSaltBytes, nullptr, kScryptN, kScryptR, kScryptP);
    const std::string& text = passphrase.text();
    const Encrypted encrypted(info && algorithm != nullptr
                                  ? PKCS8_set0_pbe(text.data(), static_cast<int>(text.size()), info.get(), algorithm)
                                  : nullptr,
                              X509_SIG_free);  // owns the algorithm
    if (!encrypted) {
        X509_ALGOR_free(algorithm);
        refuse_crypto("cannot encrypt the private key");
    }
    const Bio bio(BIO_new(BIO_s_mem()), BIO_free);
    if (!bio || PEM_write_bio_PKCS8(bio.get(), encrypted.get()) != 1) refuse_crypto("cannot encode the private key");
    return content_of(bio);
}

std::string public_pem(const Key& key) {
    const Bio bio(BIO_new(BIO_s_mem()), BIO_free);
    if (!bio || PEM_write_bio_PUBKEY(bio.get(), key.get()) != 1) refuse_crypto("cannot encode the public key");
    return content_of(bio);
}

std::string sign(const Key& key, std::string_view bytes) {
    const Context context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_PKEY_CTX* settings = nullptr;  // owned by the context
    if (!context || EVP_DigestSignInit(context.get(), &settings, EVP_sha256(), nullptr, key.get()) != 1) {
        refuse_crypto("cannot start the signature");
    }
    use_pss(settings);
    std::string signature(kSignatureBytes, '\0');
    std::size_t size = signature.size();
    auto* out = reinterpret_cast<unsigned char*>(signature.data());
    if (EVP_DigestSign(context.get(), out, &size, raw(bytes), bytes.size()) != 1 || size != kSignatureBytes) {
        refuse_crypto("cannot sign the manifest");
    }
    return signature;
}

bool is_signature_valid(const Key& key, std::string_view bytes, std::string_view signature) {
    const Context context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    EVP_PKEY_CTX* settings = nullptr;
    if (!context || EVP_DigestVerifyInit(context.get(), &settings, EVP_sha256(), nullptr, key.get()) != 1) {
        refuse_crypto("cannot start the verification");
    }
    use_pss(settings);
    const bool valid = EVP_DigestVerify(context.get(), raw(signature), signature.size(), raw(bytes), bytes.size()) == 1;
    ERR_clear_error();
    return valid;
}

}  // namespace vandrel_release
