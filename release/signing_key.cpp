#include "release/signing_key.h"

#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

#include <cstdint>

#include "release/files.h"
#include "release/manifest_format.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

constexpr unsigned kKeyBits = 3072;
constexpr int kExponentBytes = 3;
constexpr int kSaltBytes = 32;
constexpr std::uint64_t kMaxPemBytes = 64U << 10U;
static_assert(kKeyBits / 8 == kSignatureBytes);

using Bio = std::unique_ptr<BIO, decltype(&BIO_free)>;
using Number = std::unique_ptr<BIGNUM, decltype(&BN_free)>;
using Context = std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)>;

std::string content_of(const Bio& bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

int no_passphrase(char*, int, int, void*) {
    return -1;
}

bool is_release_key(const Key& key) {
    if (EVP_PKEY_is_a(key.get(), "RSA") != 1 || EVP_PKEY_get_bits(key.get()) != static_cast<int>(kKeyBits)) {
        return false;
    }
    BIGNUM* exponent = nullptr;
    const bool known = EVP_PKEY_get_bn_param(key.get(), OSSL_PKEY_PARAM_RSA_E, &exponent) == 1;
    const Number owner(exponent, BN_free);
    return known && BN_num_bytes(exponent) == kExponentBytes;
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

void refuse_existing(const std::filesystem::path& path) {
    if (std::filesystem::symlink_status(path).type() != std::filesystem::file_type::not_found) {
        throw Refusal(printable(path.string()) + " exists already");
    }
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

std::string public_pem(const Key& key) {
    const Bio bio(BIO_new(BIO_s_mem()), BIO_free);
    if (!bio || PEM_write_bio_PUBKEY(bio.get(), key.get()) != 1) refuse_crypto("cannot encode the public key");
    return content_of(bio);
}

Key load_signing_key(const std::filesystem::path& path) {
    const std::string pem = read_small_file(path, kMaxPemBytes);
    const Bio bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
    Key key(bio ? PEM_read_bio_PrivateKey(bio.get(), nullptr, no_passphrase, nullptr) : nullptr);
    ERR_clear_error();
    if (!key) throw Refusal(printable(path.string()) + " holds no unencrypted private key in PEM");
    if (!is_release_key(key)) {
        throw Refusal(printable(path.string()) + " is no RSA key of 3072 bits with a public exponent of 3 bytes");
    }
    return key;
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

void write_key_pair(const std::filesystem::path& private_file, const std::filesystem::path& public_file) {
    refuse_existing(private_file);
    refuse_existing(public_file);
    const Key key = make_rsa_key(kKeyBits);
    create_file(public_file, public_pem(key), 0644);
    try {
        create_file(private_file, private_pem(key), 0600);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(public_file, ignored);
        throw;
    }
}

}  // namespace vandrel_release
