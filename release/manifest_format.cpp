#include "release/manifest_format.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>

#include "release/refusal.h"

namespace vandrel_release {
namespace {

constexpr std::string_view kManifestMagic = "QMU2";
constexpr std::string_view kSignatureMagic = "SIG1";
constexpr std::size_t kHeaderBytes = 12;
constexpr std::size_t kEntryBytesBesidePath = 42;

void append_number(std::string& bytes, std::uint64_t value, unsigned width) {
    for (unsigned i = 0; i < width; ++i) bytes += static_cast<char>((value >> (8 * i)) & 0xFFU);
}

// Takes bytes from the front; throws if fewer are left than asked for.
class Reader {
 public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}

    std::string_view take(std::size_t count) {
        if (bytes_.size() - at_ < count) damaged();
        at_ += count;
        return bytes_.substr(at_ - count, count);
    }

    std::uint64_t number(unsigned width) {
        std::uint64_t value = 0;
        unsigned shift = 0;
        for (const char unit : take(width)) {
            value |= static_cast<std::uint64_t>(static_cast<unsigned char>(unit)) << shift;
            shift += 8;
        }
        return value;
    }

    void expect(bool condition) const {
        if (!condition) damaged();
    }

    bool at_end() const { return at_ == bytes_.size(); }

 private:
    [[noreturn]] void damaged() const { throw Refusal("the manifest is damaged at byte " + std::to_string(at_)); }

    std::string_view bytes_;
    std::size_t at_ = 0;
};

ReleaseFile read_entry(Reader& reader) {
    ReleaseFile file;
    const std::size_t path_length = reader.number(2);
    reader.expect(path_length >= 1 && path_length <= kMaxPathBytes);
    file.path = reader.take(path_length);
    file.size = reader.number(8);
    const std::string_view digest = reader.take(file.sha256.size());
    std::memcpy(file.sha256.data(), digest.data(), digest.size());
    return file;
}

}  // namespace

std::uint64_t add_sizes(std::uint64_t one, std::uint64_t other) {
    return one + std::min(other, std::numeric_limits<std::uint64_t>::max() - one);
}

std::uint64_t total_size(const std::vector<ReleaseFile>& files) {
    return std::accumulate(files.begin(), files.end(), std::uint64_t{0},
                           [](std::uint64_t total, const ReleaseFile& file) { return add_sizes(total, file.size); });
}

std::uint64_t manifest_size(const std::vector<ReleaseFile>& files) {
    std::uint64_t size = kHeaderBytes + kSignatureBlockBytes;
    for (const ReleaseFile& file : files) size += kEntryBytesBesidePath + file.path.size();
    return size;
}

std::string signed_range(std::uint32_t release, const std::vector<ReleaseFile>& files) {
    if (files.size() > kMaxEntries) {
        throw Refusal("the release has " + std::to_string(files.size()) + " files; a manifest holds at most " +
                      std::to_string(kMaxEntries));
    }
    if (const std::uint64_t size = manifest_size(files); size > kMaxManifestBytes) {
        throw Refusal("the manifest would have " + std::to_string(size) + " bytes; at most " +
                      std::to_string(kMaxManifestBytes) + " are accepted");
    }
    std::string bytes(kManifestMagic);
    append_number(bytes, release, 4);
    append_number(bytes, files.size(), 4);
    for (const ReleaseFile& file : files) {
        if (file.path.empty() || file.path.size() > kMaxPathBytes) {
            throw Refusal(printable(file.path) + ": a path has 1 to " + std::to_string(kMaxPathBytes) + " bytes");
        }
        append_number(bytes, file.path.size(), 2);
        bytes += file.path;
        append_number(bytes, file.size, 8);
        bytes.append(reinterpret_cast<const char*>(file.sha256.data()), file.sha256.size());
    }
    return bytes;
}

std::string finished_manifest(std::string_view range, std::string_view signature) {
    std::string bytes(range);
    bytes += kSignatureMagic;
    append_number(bytes, signature.size(), 2);
    bytes += signature;
    return bytes;
}

Listing list_manifest(std::string_view manifest) {
    Reader reader(manifest);
    Listing listing;
    reader.expect(reader.take(4) == kManifestMagic);
    listing.release = static_cast<std::uint32_t>(reader.number(4));
    const std::uint64_t count = reader.number(4);
    reader.expect(count <= kMaxEntries);
    listing.files.reserve(static_cast<std::size_t>(count));
    for (std::uint64_t i = 0; i < count; ++i) listing.files.push_back(read_entry(reader));
    reader.expect(reader.take(4) == kSignatureMagic);
    reader.expect(reader.number(2) == kSignatureBytes);
    reader.take(kSignatureBytes);
    reader.expect(reader.at_end());
    return listing;
}

}  // namespace vandrel_release
