// Keys as files: read in whatever form they come, and refused in words that say what they are.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "release/passphrase.h"
#include "release/signing_key.h"

namespace vandrel_release {

// Reads the private key that signs releases: PEM, encrypted or not. NAME may be any file that can be read, a link or a
// pipe too; "-" is the standard input. The passphrase is asked for if the key is encrypted. Throws Refusal:
//   "cannot open NAME: ...", "cannot read NAME: ...", "NAME is larger than 65536 bytes"
//   "NAME holds no key in PEM", "NAME is in DER form; ..." (and how to change that), "NAME holds a damaged private key"
//   "NAME holds a public key; a private one is wanted"
//   "NAME holds no private key", whatever else it holds in PEM
//   "NAME is encrypted; give its passphrase with --passphrase-fd or --passphrase-env" if there is no terminal either
//   "the passphrase does not open NAME"
//   "NAME is a key of the type EC; ...", "NAME is an RSA key of 2048 bits; ...", "NAME is an RSA key with an exponent
//   of 1 byte; ...": not of the one form that the helper verifies with
Key load_signing_key(const std::filesystem::path& path, const PassphraseSource& passphrase);

// Reads the public key that verifies releases, PEM (SubjectPublicKeyInfo), in the same way; "NAME holds a private key;
// a public one is wanted".
Key load_public_key(const std::filesystem::path& path);

// The public.pem in a release's folder, which must be a regular file: nobody has named it, so it may be anything.
Key load_public_key_of(const std::filesystem::path& release_folder);

// "NAME can be read by others than its owner (chmod 600 NAME)" if it is a file that others can read.
std::optional<std::string> exposure_of(const std::filesystem::path& private_key);

// `keygen`: a new key pair in two new files, the private one readable by its owner alone whatever the umask, and
// encrypted (PKCS#8, AES-256-CBC, scrypt) if there is a passphrase. If either name is taken, or can't be written,
// nothing is left behind and nothing that stood there is changed.
void write_key_pair(const std::filesystem::path& private_file, const std::filesystem::path& public_file,
                    const std::optional<Passphrase>& passphrase);

// Throws Refusal "NAME exists already" if anything stands there.
void refuse_existing(const std::filesystem::path& path);

}  // namespace vandrel_release
