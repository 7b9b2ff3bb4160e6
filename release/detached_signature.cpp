#include "release/detached_signature.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cctype>

#include "manifest/digests.h"
#include "release/copying.h"
#include "release/files.h"
#include "release/key_file.h"
#include "release/manifest_format.h"
#include "release/refusal.h"
#include "release/tree.h"

namespace vandrel_release {
namespace {

constexpr std::uint64_t kMaxSignatureFileBytes = 4096;
constexpr std::size_t kBase64Bytes = kSignatureBytes / 3 * 4;
static_assert(kSignatureBytes % 3 == 0);  // so its base64 has no padding

std::string from_base64(std::string text) {
    text.erase(std::remove_if(text.begin(), text.end(), [](unsigned char unit) { return std::isspace(unit) != 0; }),
               text.end());
    if (text.size() != kBase64Bytes || text.find('=') != std::string::npos) return {};
    std::string bytes(kSignatureBytes, '\0');
    const int count =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    return count == static_cast<int>(kSignatureBytes) ? bytes : std::string();
}

}  // namespace

SigningRequest::SigningRequest(const std::filesystem::path& file, std::string_view range)
    : file_(file), digest_file_(file.string() + ".sha256") {
    const Digest digest = sha256_of(range);
    digest_ = vandrel::hex_lower(digest);
    refuse_existing(digest_file_);
    create_file(file_, std::string(range), 0644);
    try {
        create_file(digest_file_, std::string(digest.begin(), digest.end()), 0644);
    } catch (...) {
        std::error_code ignored;
        std::filesystem::remove(file_, ignored);
        throw;
    }
}

SigningRequest::~SigningRequest() {
    if (kept_) return;
    std::error_code ignored;
    std::filesystem::remove(file_, ignored);
    std::filesystem::remove(digest_file_, ignored);
}

std::string read_signature(const std::filesystem::path& file) {
    std::string content = read_small_file(file, kMaxSignatureFileBytes);
    if (content.size() != kSignatureBytes) content = from_base64(std::move(content));
    if (content.empty()) {
        throw Refusal(printable(file.string()) + " holds no signature: 384 bytes are wanted, or their base64");
    }
    return content;
}

void attach_signature(const AttachOptions& options) {
    if (!std::filesystem::is_directory(options.tree)) {
        throw Refusal(printable(options.tree.string()) + " is not a folder");
    }
    const Key key = load_public_key(options.public_key);
    const std::string signature = read_signature(options.signature);
    const TreeLock lock(options.tree);
    const std::string range = unsigned_range(options.tree, options.release);
    if (!is_signature_valid(key, range, signature)) {
        throw Refusal(printable(options.signature.string()) + " is no signature of release " +
                      std::to_string(options.release) + " by the key in " + printable(options.public_key.string()) +
                      " (RSASSA-PSS over SHA-256 with a salt of 32 bytes)");
    }
    adopt_unsigned(lock, options.release, finished_manifest(range, signature), public_pem(key), options.current);
}

}  // namespace vandrel_release
