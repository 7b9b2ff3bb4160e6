#include "bench/floors/hash.h"

#include "bench/floors/must.h"

namespace floors {

void Sha256::open_provider() {
    must(BCryptOpenAlgorithmProvider(&provider_, BCRYPT_SHA256_ALGORITHM, nullptr, 0) >= 0, "opening SHA-256");
    ULONG length = 0;
    ULONG written = 0;
    must(BCryptGetProperty(provider_, BCRYPT_OBJECT_LENGTH, reinterpret_cast<PUCHAR>(&length), sizeof length, &written,
                           0) >= 0,
         "BCryptGetProperty");
    object_.resize(length);
}

void Sha256::close_provider() {
    BCryptCloseAlgorithmProvider(provider_, 0);
}

void Sha256::begin() {
    must(BCryptCreateHash(provider_, &hash_, object_.data(), static_cast<ULONG>(object_.size()), nullptr, 0, 0) >= 0,
         "BCryptCreateHash");
}

void Sha256::add(const void* data, std::size_t size) {
    PUCHAR bytes = static_cast<PUCHAR>(const_cast<void*>(data));
    must(BCryptHashData(hash_, bytes, static_cast<ULONG>(size), 0) >= 0, "BCryptHashData");
}

void Sha256::end() {
    must(BCryptFinishHash(hash_, digest_, sizeof digest_, 0) >= 0, "BCryptFinishHash");
    BCryptDestroyHash(hash_);
}

void hash_file(const wchar_t* path, Sha256& sha256, bool to_the_end) {
    static std::vector<std::uint8_t> buffer(1048576);
    HANDLE file =
        CreateFileW(path, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    must(file != INVALID_HANDLE_VALUE, "opening a file to be hashed");
    const DWORD capacity = static_cast<DWORD>(buffer.size());
    for (;;) {
        DWORD read = 0;
        must(ReadFile(file, buffer.data(), capacity, &read, nullptr) != 0, "ReadFile");
        if (read > 0) sha256.add(buffer.data(), read);
        if (read == 0 || (!to_the_end && read < capacity)) break;
    }
    CloseHandle(file);
}

}  // namespace floors
