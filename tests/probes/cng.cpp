// SHA-256 and the verification of RSASSA-PSS signatures. cng_stage.py has put the public key's modulus and signatures
// of the file `message` into the folder.
#include <windows.h>

#include <bcrypt.h>

#include <cstring>
#include <string>
#include <vector>

#include "lab/probes/probe.h"

namespace {

using namespace probe;

UCHAR* bytes_of(std::string& text) {
    return reinterpret_cast<UCHAR*>(text.data());
}

std::string hash(const std::vector<std::string>& parts) {
    BCRYPT_ALG_HANDLE provider = nullptr;
    BCryptOpenAlgorithmProvider(&provider, BCRYPT_SHA256_ALGORITHM, nullptr, 0);
    ULONG size = 0;
    ULONG written = 0;
    BCryptGetProperty(provider, BCRYPT_OBJECT_LENGTH, reinterpret_cast<UCHAR*>(&size), sizeof size, &written, 0);
    std::vector<UCHAR> memory(size);
    BCRYPT_HASH_HANDLE hash = nullptr;
    BCryptCreateHash(provider, &hash, memory.data(), size, nullptr, 0, 0);
    for (std::string part : parts) BCryptHashData(hash, bytes_of(part), static_cast<ULONG>(part.size()), 0);
    std::string digest(32, '\0');
    const NTSTATUS status = BCryptFinishHash(hash, bytes_of(digest), 32, 0);
    BCryptDestroyHash(hash);
    BCryptCloseAlgorithmProvider(provider, 0);
    return status >= 0 ? digest : std::string();
}

std::string key_blob(const std::string& modulus, ULONG magic = BCRYPT_RSAPUBLIC_MAGIC) {
    BCRYPT_RSAKEY_BLOB header{};
    header.Magic = magic;
    header.BitLength = static_cast<ULONG>(modulus.size() * 8);
    header.cbPublicExp = 3;
    header.cbModulus = static_cast<ULONG>(modulus.size());
    std::string blob(sizeof header, '\0');
    std::memcpy(blob.data(), &header, sizeof header);
    return blob + std::string("\x01\x00\x01", 3) + modulus;
}

// "refused" leaves the number open: the helper asks for no more than success.
std::string imported(BCRYPT_ALG_HANDLE provider, std::string blob, BCRYPT_KEY_HANDLE& key) {
    key = nullptr;
    const NTSTATUS status = BCryptImportKeyPair(provider, nullptr, BCRYPT_RSAPUBLIC_BLOB, &key, bytes_of(blob),
                                                static_cast<ULONG>(blob.size()), 0);
    return status >= 0 ? "ok" : "refused";
}

void signatures() {
    BCRYPT_ALG_HANDLE provider = nullptr;
    BCryptOpenAlgorithmProvider(&provider, BCRYPT_RSA_ALGORITHM, nullptr, 0);
    const std::string modulus = content(L"modulus");
    BCRYPT_KEY_HANDLE key = nullptr;
    say("import a key with another magic number", imported(provider, key_blob(modulus, 0x12345678), key));
    say("import a key that is cut", imported(provider, key_blob(modulus).substr(0, 400), key));
    say("import the key", imported(provider, key_blob(modulus), key));
    std::string digest = hash({content(L"message")});
    const auto verified = [&](std::string signature) {
        BCRYPT_PSS_PADDING_INFO padding{BCRYPT_SHA256_ALGORITHM, 32};
        return hexadecimal(static_cast<std::uint32_t>(
            BCryptVerifySignature(key, &padding, bytes_of(digest), static_cast<ULONG>(digest.size()),
                                  bytes_of(signature), static_cast<ULONG>(signature.size()), BCRYPT_PAD_PSS)));
    };
    for (const wchar_t* name : {L"salt-32", L"salt-0", L"salt-20", L"salt-31", L"salt-33", L"pkcs1", L"sha384"}) {
        say("verify " + shown(name), verified(content(name)));
    }
    const std::string good = content(L"salt-32");
    say("verify one byte less", verified(good.substr(0, good.size() - 1)));
    say("verify zeros", verified(std::string(good.size(), '\0')));
    digest[31] = static_cast<char>(digest[31] ^ 1);
    say("verify for another digest", verified(good));
    BCryptDestroyKey(key);
    BCryptCloseAlgorithmProvider(provider, 0);
}

}  // namespace

void probe::run() {
    const std::string two_blocks = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
    say("sha of nothing", in_hexadecimal(hash({})));
    say("sha of abc", in_hexadecimal(hash({"abc"})));
    say("sha of abc in parts", in_hexadecimal(hash({"a", "", "bc"})));
    say("sha of two blocks", in_hexadecimal(hash({two_blocks})));
    say("sha of a million a", in_hexadecimal(hash({std::string(999'999, 'a'), "a"})));
    signatures();
}
