#include "winsim/cng.h"

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

#include <mutex>
#include <stdexcept>
#include <unordered_map>
#include <utility>
#include <vector>

namespace winsim {
namespace {

constexpr std::size_t kMostRemembered = 4096;

template <class Object, void (*release)(Object*)>
struct Release {
    void operator()(Object* object) const { release(object); }
};
template <class Object, void (*release)(Object*)>
using Owned = std::unique_ptr<Object, Release<Object, release>>;

using MdContext = Owned<EVP_MD_CTX, EVP_MD_CTX_free>;
using PkeyContext = Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using Pkey = Owned<EVP_PKEY, EVP_PKEY_free>;
using Number = Owned<BIGNUM, BN_free>;
using ParamBuilder = Owned<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free>;
using Params = Owned<OSSL_PARAM, OSSL_PARAM_free>;

void need(bool success) {
    if (!success) throw std::runtime_error("libcrypto failed");
}

// Fetched once, never freed: looking an algorithm up costs more than hashing a small file.
const EVP_MD* sha256() {
    static const EVP_MD* const digest = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    need(digest != nullptr);
    return digest;
}

std::vector<MdContext>& spare_contexts() {
    thread_local std::vector<MdContext> spare;
    return spare;
}

EVP_MD_CTX* take_context() {
    std::vector<MdContext>& spare = spare_contexts();
    if (spare.empty()) return EVP_MD_CTX_new();
    EVP_MD_CTX* const context = spare.back().release();
    spare.pop_back();
    return context;
}

const unsigned char* bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

Number number(const std::string& big_endian) {
    return Number(BN_bin2bn(bytes(big_endian), static_cast<int>(big_endian.size()), nullptr));
}

// Null if libcrypto won't have such a key.
Pkey make_key(const std::string& exponent, const std::string& modulus) {
    const Number n = number(modulus);
    const Number e = number(exponent);
    const ParamBuilder builder(OSSL_PARAM_BLD_new());
    need(OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_N, n.get()) == 1);
    need(OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_RSA_E, e.get()) == 1);
    const Params params(OSSL_PARAM_BLD_to_param(builder.get()));
    const PkeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    EVP_PKEY* key = nullptr;
    need(EVP_PKEY_fromdata_init(context.get()) == 1);
    EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_PUBLIC_KEY, params.get());
    return Pkey(key);
}

bool verify_afresh(const std::string& exponent, const std::string& modulus, std::uint32_t salt_size,
                   const std::string& digest, const std::string& signature) {
    const Pkey key = make_key(exponent, modulus);
    if (!key) return false;
    const PkeyContext context(EVP_PKEY_CTX_new_from_pkey(nullptr, key.get(), nullptr));
    need(EVP_PKEY_verify_init(context.get()) == 1);
    need(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PSS_PADDING) == 1);
    need(EVP_PKEY_CTX_set_signature_md(context.get(), sha256()) == 1);
    need(EVP_PKEY_CTX_set_rsa_mgf1_md(context.get(), sha256()) == 1);
    need(EVP_PKEY_CTX_set_rsa_pss_saltlen(context.get(), static_cast<int>(salt_size)) == 1);
    return EVP_PKEY_verify(context.get(), bytes(signature), signature.size(), bytes(digest), digest.size()) == 1;
}

}  // namespace

Sha256::Sha256() : context_(take_context()) {
    need(context_ != nullptr && EVP_DigestInit_ex2(context_, sha256(), nullptr) == 1);
}

Sha256::Sha256(Sha256&& other) noexcept : context_(std::exchange(other.context_, nullptr)) {}

Sha256::~Sha256() {
    if (context_ != nullptr) spare_contexts().emplace_back(context_);
}

void Sha256::update(const void* data, std::size_t size) {
    need(EVP_DigestUpdate(context_, data, size) == 1);
}

void Sha256::finish(unsigned char (&digest)[32]) {
    need(EVP_DigestFinal_ex(context_, digest, nullptr) == 1);
}

bool verify_pss(const std::string& exponent, const std::string& modulus, std::uint32_t salt_size,
                const std::string& digest, const std::string& signature) {
    static std::mutex guard;
    static std::unordered_map<std::string, bool> remembered;
    std::string question =
        std::to_string(salt_size) + ' ' + std::to_string(exponent.size()) + ' ' + std::to_string(modulus.size()) + ' ';
    question += exponent + modulus + digest + signature;

    const std::lock_guard lock(guard);
    const auto found = remembered.find(question);
    if (found != remembered.end()) return found->second;
    if (remembered.size() >= kMostRemembered) remembered.clear();
    const bool answer = verify_afresh(exponent, modulus, salt_size, digest, signature);
    remembered.emplace(std::move(question), answer);
    return answer;
}

}  // namespace winsim
