// CNG: SHA-256, RSASSA-PSS verification, random bytes.
#include <bcrypt.h>

#include <cstring>
#include <string_view>

#include "winsim/call.h"
#include "winsim/cng.h"
#include "winsim/world_impl.h"

namespace {

using winsim::Cng;
using winsim::CngObject;
using winsim::World;
using CngKind = winsim::CngObject::Kind;

constexpr NTSTATUS kSuccess = 0;
constexpr auto kInvalidParameter = static_cast<NTSTATUS>(0xC000000D);
constexpr auto kInvalidSignature = static_cast<NTSTATUS>(0xC000A000);

bool same(LPCWSTR text, std::wstring_view expected) {
    return text != nullptr && text == expected;
}

CngObject& object_of(World& world, BCRYPT_HANDLE handle, CngKind kind, const char* call) {
    CngObject* object = world.impl().cng->find(handle);
    if (object == nullptr || object->kind != kind) {
        world.gate.forbid(std::string(call) + " on a handle that isn't open, or of another kind");
    }
    return *object;
}

// Writes to both ends of the caller's hash object, so that a sanitizer sees one that was released too early.
void touch(const CngObject& hash) {
    hash.memory[0] = 0x5A;
    hash.memory[winsim::kHashObjectBytes - 1] = 0x5A;
}

NTSTATUS close(World& world, BCRYPT_HANDLE handle, CngKind kind, const char* call) {
    object_of(world, handle, kind, call);
    world.impl().cng->close(handle);
    return kSuccess;
}

// A well-mixed value for each number: the generator of a world gives the same bytes in every run of a test.
std::uint64_t mixed(std::uint64_t number) {
    std::uint64_t value = (number + 1) * 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
}

// False for a blob that is no public key.
bool read_blob(const UCHAR* blob, ULONG size, CngObject& key) {
    BCRYPT_RSAKEY_BLOB header;
    if (size < sizeof header) return false;
    std::memcpy(&header, blob, sizeof header);
    if (header.Magic != BCRYPT_RSAPUBLIC_MAGIC || header.cbPrime1 != 0 || header.cbPrime2 != 0) return false;
    const std::uint64_t expected = sizeof header + std::uint64_t{header.cbPublicExp} + header.cbModulus;
    if (size != expected || header.cbPublicExp == 0) return false;
    if (header.BitLength < 512 || header.BitLength % 64 != 0 || header.cbModulus != header.BitLength / 8) return false;
    const char* const numbers = reinterpret_cast<const char*>(blob) + sizeof header;
    key.exponent.assign(numbers, header.cbPublicExp);
    key.modulus.assign(numbers + header.cbPublicExp, header.cbModulus);
    return true;
}

std::string text_of(const UCHAR* data, ULONG size) {
    return {reinterpret_cast<const char*>(data), size};
}

}  // namespace

NTSTATUS WINAPI BCryptOpenAlgorithmProvider(BCRYPT_ALG_HANDLE* provider, LPCWSTR algorithm, LPCWSTR implementation,
                                            ULONG flags) {
    return winsim::gated_status("BCryptOpenAlgorithmProvider", algorithm, [&](World& world) {
        const bool rsa = same(algorithm, BCRYPT_RSA_ALGORITHM);
        winsim::demand(world, rsa || same(algorithm, BCRYPT_SHA256_ALGORITHM),
                       "BCryptOpenAlgorithmProvider for anything but RSA and SHA256");
        winsim::demand(world, implementation == nullptr && flags == 0,
                       "BCryptOpenAlgorithmProvider with flags or an implementation");
        *provider = world.impl().cng->add({rsa ? CngKind::rsa_provider : CngKind::sha256_provider, {}, {}, {}, {}});
        return kSuccess;
    });
}

NTSTATUS WINAPI BCryptCloseAlgorithmProvider(BCRYPT_ALG_HANDLE provider, ULONG flags) {
    return winsim::gated_release<NTSTATUS>("BCryptCloseAlgorithmProvider", kInvalidParameter, [&](World& world) {
        Cng& cng = *world.impl().cng;
        const CngObject* object = cng.find(provider);
        const bool is_provider =
            object != nullptr && (object->kind == CngKind::rsa_provider || object->kind == CngKind::sha256_provider);
        winsim::demand(world, is_provider && flags == 0, "BCryptCloseAlgorithmProvider of no open provider");
        cng.close(provider);
        return kSuccess;
    });
}

NTSTATUS WINAPI BCryptGetProperty(BCRYPT_HANDLE object, LPCWSTR property, PUCHAR output, ULONG output_size,
                                  ULONG* result, ULONG flags) {
    return winsim::gated_status("BCryptGetProperty", property, [&](World& world) {
        object_of(world, object, CngKind::sha256_provider, "BCryptGetProperty");
        winsim::demand(world,
                       same(property, BCRYPT_OBJECT_LENGTH) && output_size == 4 && result != nullptr && flags == 0,
                       "BCryptGetProperty of anything but the object length, into four bytes");
        std::memcpy(output, &winsim::kHashObjectBytes, 4);
        *result = 4;
        return kSuccess;
    });
}

NTSTATUS WINAPI BCryptCreateHash(BCRYPT_ALG_HANDLE provider, BCRYPT_HASH_HANDLE* hash, PUCHAR object, ULONG object_size,
                                 PUCHAR secret, ULONG secret_size, ULONG flags) {
    return winsim::gated_status("BCryptCreateHash", {}, [&](World& world) {
        object_of(world, provider, CngKind::sha256_provider, "BCryptCreateHash");
        winsim::demand(world, object != nullptr && object_size == winsim::kHashObjectBytes,
                       "BCryptCreateHash without a hash object of exactly the object length");
        winsim::demand(world, secret == nullptr && secret_size == 0 && flags == 0, "BCryptCreateHash with a secret");
        CngObject state{CngKind::hash, std::make_unique<winsim::Sha256>(), object, {}, {}};
        touch(state);
        *hash = world.impl().cng->add(std::move(state));
        return kSuccess;
    });
}

NTSTATUS WINAPI BCryptHashData(BCRYPT_HASH_HANDLE hash, PUCHAR data, ULONG size, ULONG flags) {
    return winsim::gated_status("BCryptHashData", {}, [&](World& world) {
        CngObject& state = object_of(world, hash, CngKind::hash, "BCryptHashData");
        winsim::demand(world, state.hash != nullptr && flags == 0, "BCryptHashData on a finished hash");
        touch(state);
        state.hash->update(data, size);
        return kSuccess;
    });
}

NTSTATUS WINAPI BCryptFinishHash(BCRYPT_HASH_HANDLE hash, PUCHAR output, ULONG size, ULONG flags) {
    return winsim::gated_status("BCryptFinishHash", {}, [&](World& world) {
        CngObject& state = object_of(world, hash, CngKind::hash, "BCryptFinishHash");
        winsim::demand(world, state.hash != nullptr && size == 32 && flags == 0,
                       "BCryptFinishHash on a finished hash, or into anything but 32 bytes");
        touch(state);
        unsigned char digest[32];
        state.hash->finish(digest);
        state.hash.reset();
        std::memcpy(output, digest, sizeof digest);
        return kSuccess;
    });
}

NTSTATUS WINAPI BCryptDestroyHash(BCRYPT_HASH_HANDLE hash) {
    return winsim::gated_release<NTSTATUS>("BCryptDestroyHash", kInvalidParameter, [&](World& world) {
        touch(object_of(world, hash, CngKind::hash, "BCryptDestroyHash"));
        return close(world, hash, CngKind::hash, "BCryptDestroyHash");
    });
}

NTSTATUS WINAPI BCryptImportKeyPair(BCRYPT_ALG_HANDLE provider, BCRYPT_KEY_HANDLE import_key, LPCWSTR blob_type,
                                    BCRYPT_KEY_HANDLE* key, PUCHAR blob, ULONG size, ULONG flags) {
    return winsim::gated_status("BCryptImportKeyPair", blob_type, [&](World& world) {
        object_of(world, provider, CngKind::rsa_provider, "BCryptImportKeyPair");
        winsim::demand(world, import_key == nullptr && same(blob_type, BCRYPT_RSAPUBLIC_BLOB) && flags == 0,
                       "BCryptImportKeyPair of anything but a public key");
        CngObject object{CngKind::key, {}, {}, {}, {}};
        if (!read_blob(blob, size, object)) return kInvalidParameter;
        if (world.exchange_key) world.exchange_key(object.exponent, object.modulus);
        *key = world.impl().cng->add(std::move(object));
        return kSuccess;
    });
}

NTSTATUS WINAPI BCryptVerifySignature(BCRYPT_KEY_HANDLE key, void* padding, PUCHAR digest, ULONG digest_size,
                                      PUCHAR signature, ULONG signature_size, ULONG flags) {
    return winsim::gated_status("BCryptVerifySignature", {}, [&](World& world) {
        const CngObject& object = object_of(world, key, CngKind::key, "BCryptVerifySignature");
        winsim::demand(world, padding != nullptr && flags == BCRYPT_PAD_PSS, "BCryptVerifySignature without PSS");
        const auto& pss = *static_cast<const BCRYPT_PSS_PADDING_INFO*>(padding);
        winsim::demand(world, same(pss.pszAlgId, BCRYPT_SHA256_ALGORITHM) && digest_size == 32,
                       "BCryptVerifySignature with anything but SHA-256");
        if (signature_size != object.modulus.size()) return kInvalidSignature;
        const bool valid = winsim::verify_pss(object.exponent, object.modulus, pss.cbSalt, text_of(digest, digest_size),
                                              text_of(signature, signature_size));
        return valid ? kSuccess : kInvalidSignature;
    });
}

NTSTATUS WINAPI BCryptDestroyKey(BCRYPT_KEY_HANDLE key) {
    return winsim::gated_release<NTSTATUS>("BCryptDestroyKey", kInvalidParameter, [&](World& world) {
        return close(world, key, CngKind::key, "BCryptDestroyKey");
    });
}

NTSTATUS WINAPI BCryptGenRandom(BCRYPT_ALG_HANDLE provider, PUCHAR buffer, ULONG size, ULONG flags) {
    return winsim::gated_status("BCryptGenRandom", {}, [&](World& world) {
        winsim::demand(world, provider == nullptr && flags == BCRYPT_USE_SYSTEM_PREFERRED_RNG,
                       "BCryptGenRandom with a provider of its own");
        for (ULONG i = 0; i < size; i += 8) {
            const std::uint64_t value = mixed(world.impl().random_counter++);
            std::memcpy(buffer + i, &value, size - i < 8 ? size - i : 8);
        }
        return kSuccess;
    });
}
