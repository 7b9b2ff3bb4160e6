#include "manifest/signature.h"

#include <windows.h>

#include <bcrypt.h>

#include <algorithm>
#include <cstring>

#include "base/unique_handle.h"
#include "build_config.h"

namespace vandrel {

namespace {

constexpr ULONG kKeyBits = 3072;
constexpr ULONG kSaltSize = 32;
constexpr std::size_t kBlobSize = sizeof(BCRYPT_RSAKEY_BLOB) + kPublicExponent.size() + kPublicModulus.size();
static_assert(kBlobSize == 411);

Bytes public_key_blob() {
    BCRYPT_RSAKEY_BLOB header{};
    header.Magic = BCRYPT_RSAPUBLIC_MAGIC;
    header.BitLength = kKeyBits;
    header.cbPublicExp = static_cast<ULONG>(kPublicExponent.size());
    header.cbModulus = static_cast<ULONG>(kPublicModulus.size());
    Bytes blob(kBlobSize);
    std::memcpy(blob.data(), &header, sizeof header);
    const auto behind_exponent = std::copy(kPublicExponent.begin(), kPublicExponent.end(),
                                           blob.begin() + static_cast<std::ptrdiff_t>(sizeof header));
    std::copy(kPublicModulus.begin(), kPublicModulus.end(), behind_exponent);
    return blob;
}

KeyHandle import_public_key(BCRYPT_ALG_HANDLE provider) {
    Bytes blob = public_key_blob();
    BCRYPT_KEY_HANDLE imported = nullptr;
    if (BCryptImportKeyPair(provider, nullptr, BCRYPT_RSAPUBLIC_BLOB, &imported, blob.data(),
                            static_cast<ULONG>(blob.size()), 0) < 0) {
        return {};
    }
    return KeyHandle(imported);
}

}  // namespace

bool verify_signature(const Digest& digest, std::span<const std::uint8_t> signature) {
    BCRYPT_ALG_HANDLE opened = nullptr;
    if (BCryptOpenAlgorithmProvider(&opened, BCRYPT_RSA_ALGORITHM, nullptr, 0) < 0) return false;
    const AlgorithmProvider provider(opened);
    const KeyHandle key = import_public_key(provider.get());
    if (!key) return false;
    BCRYPT_PSS_PADDING_INFO padding{BCRYPT_SHA256_ALGORITHM, kSaltSize};
    return BCryptVerifySignature(key.get(), &padding, const_cast<PUCHAR>(digest.data()),
                                 static_cast<ULONG>(digest.size()), const_cast<PUCHAR>(signature.data()),
                                 static_cast<ULONG>(signature.size()), BCRYPT_PAD_PSS) >= 0;
}

}  // namespace vandrel
