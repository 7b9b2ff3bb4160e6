#include "release/key_file.h"

#include <fcntl.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "release/files.h"
#include "release/manifest_format.h"
#include "release/refusal.h"
#include "release/tree.h"

namespace vandrel_release {
namespace {

constexpr int kKeyBits = static_cast<int>(kSignatureBytes) * 8;
constexpr int kExponentBytes = 3;
constexpr std::size_t kMaxKeyFileBytes = 64U << 10U;

using Bio = std::unique_ptr<BIO, decltype(&BIO_free)>;
using Number = std::unique_ptr<BIGNUM, decltype(&BN_free)>;

std::string name_of(const std::filesystem::path& path) {
    return path == "-" ? "the standard input" : printable(path.string());
}

std::string read_key_file(const std::filesystem::path& path) {
    FileHandle file;
    if (path != "-") {
        file = FileHandle(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        if (!file) refuse_system("cannot open " + name_of(path), errno);
    }
    std::string content(kMaxKeyFileBytes + 1, '\0');
    std::size_t size = 0;
    while (size < content.size()) {
        const int from = file ? file.get() : STDIN_FILENO;
        const ssize_t count = ::read(from, content.data() + size, content.size() - size);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) refuse_system("cannot read " + name_of(path), errno);
        if (count == 0) break;
        size += static_cast<std::size_t>(count);
    }
    if (size > kMaxKeyFileBytes) {
        throw Refusal(name_of(path) + " is larger than " + std::to_string(kMaxKeyFileBytes) + " bytes");
    }
    content.resize(size);
    return content;
}

Bio bio_over(const std::string& text) {
    Bio bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), BIO_free);
    if (!bio) refuse_crypto("cannot read a key");
    return bio;
}

// What the PEM blocks of a text hold.
struct PemContent {
    bool any = false;
    bool private_key = false;
    bool public_key = false;
    bool encrypted = false;
};

PemContent look_at(const std::string& text) {
    const Bio bio = bio_over(text);
    PemContent content;
    char* label = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long size = 0;
    while (PEM_read_bio(bio.get(), &label, &header, &data, &size) == 1) {
        const std::string_view kind(label);
        content.any = true;
        content.private_key |= kind.ends_with("PRIVATE KEY");
        content.public_key |= kind.ends_with("PUBLIC KEY");
        content.encrypted |= kind == "ENCRYPTED PRIVATE KEY" || std::strstr(header, "ENCRYPTED") != nullptr;
        OPENSSL_free(label);
        OPENSSL_free(header);
        OPENSSL_clear_free(data, static_cast<std::size_t>(size));
    }
    ERR_clear_error();
    return content;
}

// True if the whole text is one value that `parse` understands.
template <class Value>
bool parses(Value* (*parse)(Value**, const unsigned char**, long), void (*release)(Value*), const std::string& text) {
    const auto* at = reinterpret_cast<const unsigned char*>(text.data());
    Value* value = parse(nullptr, &at, static_cast<long>(text.size()));
    ERR_clear_error();
    if (value == nullptr) return false;
    release(value);
    return true;
}

[[noreturn]] void refuse_without_pem(const std::string& text, const std::string& name) {
    if (parses<EVP_PKEY>(d2i_PUBKEY, EVP_PKEY_free, text)) {
        throw Refusal(name +
                      " is in DER form; a key in PEM is wanted (openssl pkey -pubin -inform DER -in ... -out ...)");
    }
    if (parses<EVP_PKEY>(d2i_AutoPrivateKey, EVP_PKEY_free, text) ||
        parses<X509_SIG>(d2i_X509_SIG, X509_SIG_free, text)) {
        throw Refusal(name + " is in DER form; a key in PEM is wanted (openssl pkey -inform DER -in ... -out ...)");
    }
    throw Refusal(name + " holds no key in PEM");
}

int exponent_bytes(const Key& key) {
    BIGNUM* exponent = nullptr;
    const bool known = EVP_PKEY_get_bn_param(key.get(), OSSL_PKEY_PARAM_RSA_E, &exponent) == 1;
    const Number owner(exponent, BN_free);
    return known ? BN_num_bytes(exponent) : 0;
}

// The helper's verifier knows one form of key alone.
Key of_the_right_form(Key key, const std::string& name) {
    if (EVP_PKEY_is_a(key.get(), "RSA") != 1) {
        const char* type = EVP_PKEY_get0_type_name(key.get());
        throw Refusal(name + " is a key of the type " + (type == nullptr ? "unknown" : type) +
                      "; releases are signed with plain RSA");
    }
    if (const int bits = EVP_PKEY_get_bits(key.get()); bits != kKeyBits) {
        throw Refusal(name + " is an RSA key of " + std::to_string(bits) + " bits; the helper takes one of " +
                      std::to_string(kKeyBits));
    }
    if (const int bytes = exponent_bytes(key); bytes != kExponentBytes) {
        throw Refusal(name + " is an RSA key with an exponent of " + std::to_string(bytes) +
                      (bytes == 1 ? " byte" : " bytes") + "; the helper takes one of 3, as 65537 is");
    }
    return key;
}

int copy_passphrase(char* buffer, int capacity, int /*for_writing*/, void* given) {
    const auto* passphrase = static_cast<const Passphrase*>(given);
    if (passphrase == nullptr) return -1;
    const std::string& text = passphrase->text();
    if (text.size() > static_cast<std::size_t>(capacity)) return -1;
    std::ranges::copy(text, buffer);
    return static_cast<int>(text.size());
}

Key parse_private_key(const std::string& text, const std::string& name, const std::optional<Passphrase>& passphrase) {
    const Bio bio = bio_over(text);
    void* given = passphrase ? const_cast<Passphrase*>(&*passphrase) : nullptr;
    Key key(PEM_read_bio_PrivateKey(bio.get(), nullptr, copy_passphrase, given));
    ERR_clear_error();
    if (key) return of_the_right_form(std::move(key), name);
    throw Refusal(passphrase ? "the passphrase does not open " + name : name + " holds a damaged private key");
}

Key parse_public_key(const std::string& text, const std::string& name) {
    const PemContent content = look_at(text);
    if (!content.any) refuse_without_pem(text, name);
    if (!content.public_key) {
        throw Refusal(name +
                      (content.private_key ? " holds a private key; a public one is wanted" : " holds no public key"));
    }
    const Bio bio = bio_over(text);
    Key key(PEM_read_bio_PUBKEY(bio.get(), nullptr, nullptr, nullptr));
    ERR_clear_error();
    if (!key) throw Refusal(name + " holds a damaged public key");
    return of_the_right_form(std::move(key), name);
}

}  // namespace

Key load_signing_key(const std::filesystem::path& path, const PassphraseSource& passphrase) {
    const std::string name = name_of(path);
    const Passphrase text(read_key_file(path));  // wiped like one
    const PemContent content = look_at(text.text());
    if (!content.any) refuse_without_pem(text.text(), name);
    if (!content.private_key) {
        throw Refusal(name +
                      (content.public_key ? " holds a public key; a private one is wanted" : " holds no private key"));
    }
    if (!content.encrypted) return parse_private_key(text.text(), name, std::nullopt);
    if (!can_ask(passphrase)) {
        throw Refusal(name + " is encrypted; give its passphrase with --passphrase-fd or --passphrase-env");
    }
    return parse_private_key(text.text(), name, ask_passphrase(passphrase, name));
}

Key load_public_key(const std::filesystem::path& path) {
    return parse_public_key(read_key_file(path), name_of(path));
}

Key load_public_key_of(const std::filesystem::path& release_folder) {
    const std::filesystem::path path = public_key_path(release_folder);
    return parse_public_key(read_small_file(path, kMaxKeyFileBytes), printable(path.string()));
}

std::optional<std::string> exposure_of(const std::filesystem::path& private_key) {
    struct stat status {};
    const bool is_file = !private_key.empty() && private_key != "-" && ::stat(private_key.c_str(), &status) == 0 &&
                         S_ISREG(status.st_mode);
    if (!is_file || (status.st_mode & (S_IRWXG | S_IRWXO)) == 0) return std::nullopt;
    const std::string name = name_of(private_key);
    return name + " can be read by others than its owner (chmod 600 " + name + ")";
}

void refuse_existing(const std::filesystem::path& path) {
    if (is_there(path)) throw Refusal(printable(path.string()) + " exists already");
}

void write_key_pair(const std::filesystem::path& private_file, const std::filesystem::path& public_file,
                    const std::optional<Passphrase>& passphrase) {
    refuse_existing(private_file);
    refuse_existing(public_file);
    const Key key = make_rsa_key(kKeyBits);
    const Passphrase text(passphrase ? encrypted_private_pem(key, *passphrase) : private_pem(key));  // wiped like one
    create_file(public_file, public_pem(key), 0644);
    try {
        create_file(private_file, text.text(), 0600);
        ::chmod(private_file.c_str(), 0600);  // a umask may have taken the owner's rights as well
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(public_file, ignored);
        throw;
    }
}

}  // namespace vandrel_release
