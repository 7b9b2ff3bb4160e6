// Releases whose key lies elsewhere: what is to be signed leaves as a file, and the signature comes back as one.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "release/signing_key.h"
#include "release/tree_changes.h"

namespace vandrel_release {

// What is to be signed of one release, in two new files: its bytes in FILE, and their SHA-256, 32 raw bytes, in
// FILE.sha256 (key services sign digests, not long messages). Unless keep() is called, both go with this object.
class SigningRequest {
 public:
    // Throws Refusal if either name is taken or can't be written; then neither is left behind.
    SigningRequest(const std::filesystem::path& file, std::string_view range);
    SigningRequest(const SigningRequest&) = delete;
    SigningRequest& operator=(const SigningRequest&) = delete;
    ~SigningRequest();

    const std::string& digest() const { return digest_; }  // 64 hexadecimal digits
    void keep() { kept_ = true; }

 private:
    std::filesystem::path file_;
    std::filesystem::path digest_file_;
    std::string digest_;
    bool kept_ = false;
};

// The signature in a file: 384 raw bytes, or their base64, in which blanks and line ends don't count. Throws Refusal
// "FILE holds no signature: 384 bytes are wanted, or their base64".
std::string read_signature(const std::filesystem::path& file);

struct AttachOptions {
    std::filesystem::path tree;
    std::uint32_t release = 0;
    std::filesystem::path signature;
    std::filesystem::path public_key;  // PEM
    MakeCurrent current = MakeCurrent::yes;
};

// Completes a release that waits in the tree with its signature, once that has been verified with the public key.
// Success: the release is durable, and current if so asked. Throws Refusal, and the tree is what it was (see
// adopt_unsigned for a power cut): the release doesn't wait, the files can't be read, or
//   "FILE is no signature of release N by the key in PUB (RSASSA-PSS over SHA-256 with a salt of 32 bytes)"
void attach_signature(const AttachOptions& options);

}  // namespace vandrel_release
