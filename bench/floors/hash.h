// SHA-256 of bytes and of files, with nothing allocated behind the first.
#pragma once

#include <windows.h>

#include <bcrypt.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace floors {

// One hash after the other on one object's memory.
class Sha256 {
 public:
    void open_provider();
    void close_provider();
    void begin();
    void add(const void* data, std::size_t size);
    void end();
    std::uint8_t* digest() { return digest_; }  // of the last end()

 private:
    BCRYPT_ALG_HANDLE provider_ = nullptr;
    BCRYPT_HASH_HANDLE hash_ = nullptr;
    std::vector<std::uint8_t> object_;
    std::uint8_t digest_[32] = {};
};

// Opens a file, reads it to its end by 1 MiB, hashes it into the hash that has begun, and closes it. With `to_the_end`
// only a read of nothing is the end; else one that falls short is.
void hash_file(const wchar_t* path, Sha256& sha256, bool to_the_end);

}  // namespace floors
