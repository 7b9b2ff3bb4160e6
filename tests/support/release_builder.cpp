#include "tests/support/release_builder.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/sha.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <mutex>
#include <stdexcept>

namespace support {
namespace {

std::string little_endian(std::uint64_t value, int width) {
    std::string bytes;
    for (int i = 0; i < width; ++i) bytes += static_cast<char>(value >> (8 * i));
    return bytes;
}

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

const Key& development_key() {
    static const Key key = [] {
        const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(VANDREL_DEVELOPMENT_KEY, "rb"), &fclose);
        if (!file) throw std::runtime_error("no development key at " VANDREL_DEVELOPMENT_KEY);
        return Key(PEM_read_PrivateKey(file.get(), nullptr, nullptr, nullptr), &EVP_PKEY_free);
    }();
    return key;
}

std::string make_signature(const std::string& range) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    EVP_PKEY_CTX* parameters = nullptr;
    std::size_t size = 384;
    std::string signature(size, '\0');
    const bool done =
        EVP_DigestSignInit(context.get(), &parameters, EVP_sha256(), nullptr, development_key().get()) == 1 &&
        EVP_PKEY_CTX_set_rsa_padding(parameters, RSA_PKCS1_PSS_PADDING) == 1 &&
        EVP_PKEY_CTX_set_rsa_pss_saltlen(parameters, 32) == 1 &&
        EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size,
                       reinterpret_cast<const unsigned char*>(range.data()), range.size()) == 1;
    if (!done || size != signature.size()) throw std::runtime_error("signing failed");
    return signature;
}

}  // namespace

std::string u16(std::uint32_t value) {
    return little_endian(value, 2);
}
std::string u32(std::uint64_t value) {
    return little_endian(value, 4);
}
std::string u64(std::uint64_t value) {
    return little_endian(value, 8);
}

std::string sha256(const std::string& bytes) {
    std::string digest(SHA256_DIGEST_LENGTH, '\0');
    SHA256(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
           reinterpret_cast<unsigned char*>(digest.data()));
    return digest;
}

vandrel::Digest digest_of(const std::string& bytes) {
    vandrel::Digest digest{};
    const std::string raw = sha256(bytes);
    std::ranges::copy(raw, reinterpret_cast<char*>(digest.data()));
    return digest;
}

std::string wire_entry(const std::string& path, std::uint64_t size, const std::string& digest) {
    return u16(static_cast<std::uint32_t>(path.size())) + path + u64(size) + digest;
}

std::string wire_entry(const std::string& path, const std::string& content) {
    return wire_entry(path, content.size(), sha256(content));
}

std::string signed_range(std::uint32_t release, const std::vector<std::string>& entries) {
    std::string range = "QMU2" + u32(release) + u32(entries.size());
    for (const std::string& entry : entries) range += entry;
    return range;
}

std::string signed_range(std::uint32_t release, const Files& files) {
    std::vector<std::string> entries;
    for (const auto& [path, content] : files) entries.push_back(wire_entry(path, content));
    return signed_range(release, entries);
}

std::string sign(const std::string& range) {
    static std::mutex mutex;
    static std::map<std::string, std::string> signatures;
    const std::lock_guard lock(mutex);
    std::string& signature = signatures[sha256(range)];
    if (signature.empty()) signature = make_signature(range);
    return signature;
}

std::string with_signature(const std::string& range) {
    return range + "SIG1" + u16(384) + sign(range);
}

std::string manifest_of(std::uint32_t release, const Files& files) {
    return with_signature(signed_range(release, files));
}

}  // namespace support
