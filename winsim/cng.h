// CNG's handles and what stands behind them; the mathematics is libcrypto's.
#pragma once

#include <openssl/types.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "winsim/handle_table.h"

namespace winsim {

inline constexpr std::uintptr_t kFirstCngHandle = 0x60000004;
inline constexpr std::uint32_t kHashObjectBytes = 286;

// A SHA-256 under way. Its memory is borrowed from a pool of the thread.
class Sha256 {
 public:
    Sha256();
    ~Sha256();
    Sha256(Sha256&& other) noexcept;
    Sha256& operator=(Sha256&&) = delete;
    Sha256(const Sha256&) = delete;
    void update(const void* data, std::size_t size);
    void finish(unsigned char (&digest)[32]);

 private:
    EVP_MD_CTX* context_;
};

// True if `signature` is a valid RSASSA-PSS signature of the SHA-256 `digest`, with exactly `salt_size` bytes of salt,
// under the key with this big-endian `modulus` and `exponent`. Answers are remembered in the whole program: the same
// question is asked again and again by an exploration.
bool verify_pss(const std::string& exponent, const std::string& modulus, std::uint32_t salt_size,
                const std::string& digest, const std::string& signature);

struct CngObject {
    enum class Kind : std::uint8_t { rsa_provider, sha256_provider, hash, key };
    Kind kind;
    std::unique_ptr<Sha256> hash;              // of a hash that isn't finished
    volatile unsigned char* memory = nullptr;  // the hash object that the caller owns
    std::string exponent, modulus;             // of a key
};

// The open CNG handles of one world's program.
class Cng {
 public:
    void* add(CngObject object) { return handles_.add(std::move(object)); }
    CngObject* find(const void* handle) { return handles_.find(handle); }
    void close(const void* handle) { handles_.remove(handle); }
    std::size_t open_handles() const { return handles_.size(); }
    void close_all() { handles_.clear(); }

 private:
    HandleTable<CngObject> handles_{kFirstCngHandle};
};

}  // namespace winsim
