// `publish`: a client folder and a release number become a signed manifest and a release in the tree that is served.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

#include "release/guards.h"
#include "release/passphrase.h"
#include "release/tree_changes.h"

namespace vandrel_release {

struct PublishOptions {
    std::filesystem::path folder;  // a complete client folder
    std::filesystem::path tree;
    std::filesystem::path key;  // the private key, PEM
    PassphraseSource passphrase;
    std::filesystem::path unsigned_file;  // instead of a key: a new file for what is to be signed (SigningRequest), and
    std::filesystem::path public_key;     // the public half of the key that shall sign it
    std::uint32_t release = 0;
    std::string arch = "64";
    std::vector<std::string> clients;        // executables whose players get the release; empty: those that it holds
    std::vector<std::string> skip_patterns;  // see list_release_folder
    bool allow_older = false;                // a number below the newest in the tree
    Allowances allowed;
    MakeCurrent current = MakeCurrent::yes;  // without a key: it is asked when the signature comes
    std::ostream* progress = nullptr;        // a terminal (see Progress)
};

struct PublishReport {
    std::uint64_t file_count = 0;
    std::uint64_t size_bytes = 0;  // of all files
    std::uint64_t manifest_bytes = 0;
    std::string manifest_sha256;  // in hexadecimal; empty if the release waits for its signature
    std::string digest_to_sign;   // in hexadecimal; empty if the release is signed
    std::vector<std::string> skipped;
    std::vector<std::string> notes;  // what the publisher may want to know; one line each
};

// Throws Refusal, or std::filesystem::filesystem_error if a folder can't be read or written. The served releases are
// then what they were; a tree that wasn't there may stand without one. Success: the release is durable, and it is the
// one that clients get if so asked; without a key, it waits for its signature (see attach_signature).
PublishReport publish(const PublishOptions& options);

}  // namespace vandrel_release
