#include "base/sha256.h"

#include <algorithm>

namespace vandrel {

namespace {

bool succeeded(NTSTATUS status) {
    return status >= 0;
}

}  // namespace

bool Sha256::open() {
    BCRYPT_ALG_HANDLE provider = nullptr;
    if (!succeeded(BCryptOpenAlgorithmProvider(&provider, BCRYPT_SHA256_ALGORITHM, nullptr, 0))) return false;
    provider_ = AlgorithmProvider(provider);
    return true;
}

bool Sha256::prepare() {
    ULONG length = 0;
    ULONG written = 0;
    if (!succeeded(BCryptGetProperty(provider_.get(), BCRYPT_OBJECT_LENGTH, reinterpret_cast<PUCHAR>(&length),
                                     sizeof length, &written, 0))) {
        return false;
    }
    object_.assign(length, 0);
    return true;
}

bool Sha256::create() {
    BCRYPT_HASH_HANDLE hash = nullptr;
    if (!succeeded(BCryptCreateHash(provider_.get(), &hash, object_.data(), static_cast<ULONG>(object_.size()), nullptr,
                                    0, 0))) {
        return false;
    }
    hash_ = HashHandle(hash);
    return true;
}

bool Sha256::update(const std::uint8_t* data, std::uint64_t size) {
    constexpr std::uint64_t kLargestPiece = 0xFFFFFFFF;
    while (size > 0) {
        const std::uint64_t piece = std::min(size, kLargestPiece);
        if (!succeeded(BCryptHashData(hash_.get(), const_cast<PUCHAR>(data), static_cast<ULONG>(piece), 0))) {
            return false;
        }
        data += piece;
        size -= piece;
    }
    return true;
}

bool Sha256::finish(Digest& digest) {
    return succeeded(BCryptFinishHash(hash_.get(), digest.data(), static_cast<ULONG>(digest.size()), 0));
}

}  // namespace vandrel
