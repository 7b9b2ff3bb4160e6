#include "release/copying.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "release/refusal.h"

namespace vandrel_release {
namespace {

constexpr std::size_t kBufferBytes = 1U << 20U;
constexpr mode_t kReadByAll = S_IRUSR | S_IRGRP | S_IROTH;

// Looking the algorithm up takes longer than hashing a small file.
const EVP_MD* sha256() {
    static const std::unique_ptr<EVP_MD, decltype(&EVP_MD_free)> algorithm(EVP_MD_fetch(nullptr, "SHA256", nullptr),
                                                                           EVP_MD_free);
    return algorithm.get();
}

class Hash {
 public:
    void start() {
        if (!context_ || EVP_DigestInit_ex(context_.get(), sha256(), nullptr) != 1) {
            refuse_crypto("cannot start SHA-256");
        }
    }

    void add(const char* data, std::size_t count) {
        if (EVP_DigestUpdate(context_.get(), data, count) != 1) refuse_crypto("cannot compute SHA-256");
    }

    Digest finish() {
        Digest digest{};
        if (EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr) != 1) refuse_crypto("cannot finish SHA-256");
        return digest;
    }

 private:
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_{EVP_MD_CTX_new(), EVP_MD_CTX_free};
};

// What a thread keeps from file to file: for a small one, making it costs as much as the hash.
struct Tools {
    Hash hash;
    std::vector<char> buffer = std::vector<char>(kBufferBytes);
    std::vector<char> twin_buffer;
};

Tools& tools() {
    thread_local Tools kept;
    return kept;
}

// A file that may turn out to have the content that is being read.
class Twin {
 public:
    Twin(const std::string& path, const FileHandle& source, const std::string& source_path) : path_(path) {
        if (path.empty() || !is_there(path)) return;
        FileHandle file = open_for_reading(path);
        const struct stat status = status_of(file, path);
        if (status.st_size != status_of(source, source_path).st_size) return;
        if ((status.st_mode & kReadByAll) != kReadByAll) return;
        file_ = std::move(file);
        buffer_.resize(kBufferBytes);
    }

    explicit operator bool() const { return static_cast<bool>(file_); }

    bool goes_on_with(const char* data, std::size_t count) {
        for (std::size_t done = 0; done < count;) {
            const std::size_t got = read_some(file_, buffer_.data(), std::min(buffer_.size(), count - done), path_);
            if (got == 0 || std::memcmp(buffer_.data(), data + done, got) != 0) return false;
            done += got;
        }
        return true;
    }

    bool is_at_end() { return read_some(file_, buffer_.data(), 1, path_) == 0; }

    bool link_to(const std::string& name) const { return ::link(path_.c_str(), name.c_str()) == 0; }

    // The first `size` bytes, which have been seen to be the same, into `target`; then it is no twin any longer.
    void copy_start(std::uint64_t size, const FileHandle& target, const std::string& name) {
        const FileHandle again = open_for_reading(path_);
        for (std::uint64_t done = 0; done < size;) {
            const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size - done, buffer_.size()));
            const std::size_t got = read_some(again, buffer_.data(), wanted, path_);
            if (got == 0) throw Refusal(printable(path_) + " became shorter while it was read");
            write_all(target, buffer_.data(), got, name);
            done += got;
        }
        file_ = FileHandle();
    }

 private:
    std::string path_;
    FileHandle file_;
    std::vector<char>& buffer_ = tools().twin_buffer;
};

}  // namespace

Digest sha256_of(std::string_view bytes) {
    Hash& hash = tools().hash;
    hash.start();
    hash.add(bytes.data(), bytes.size());
    return hash.finish();
}

Copied hash_file(const FileHandle& file, const std::string& path, const OnBytes& on_bytes) {
    Tools& kept = tools();
    Hash& hash = kept.hash;
    std::vector<char>& buffer = kept.buffer;
    hash.start();
    Copied read;
    while (const std::size_t count = read_some(file, buffer.data(), buffer.size(), path)) {
        hash.add(buffer.data(), count);
        read.size += count;
        on_bytes(count);
    }
    read.sha256 = hash.finish();
    return read;
}

Copied copy_and_hash(const std::string& from, const std::string& to, const std::string& twin_path,
                     const OnBytes& on_bytes) {
    const FileHandle source = open_for_reading(from);
    Twin twin(twin_path, source, from);
    FileHandle target = twin ? FileHandle() : create_new(to, 0644);
    Tools& kept = tools();
    Hash& hash = kept.hash;
    std::vector<char>& buffer = kept.buffer;
    hash.start();
    Copied copied;
    while (const std::size_t count = read_some(source, buffer.data(), buffer.size(), from)) {
        hash.add(buffer.data(), count);
        if (twin && !twin.goes_on_with(buffer.data(), count)) {
            target = create_new(to, 0644);
            twin.copy_start(copied.size, target, to);
        }
        if (target) write_all(target, buffer.data(), count, to);
        copied.size += count;
        on_bytes(count);
    }
    if (!target && !(twin.is_at_end() && twin.link_to(to))) {  // it can have too many names already
        twin.copy_start(copied.size, create_new(to, 0644), to);
    }
    copied.sha256 = hash.finish();
    return copied;
}

}  // namespace vandrel_release
