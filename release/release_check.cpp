#include "release/release_check.h"

#include <numeric>
#include <unordered_set>

#include "release/copying.h"
#include "release/key_file.h"
#include "release/parallel.h"
#include "release/refusal.h"
#include "release/tree.h"

namespace vandrel_release {
namespace {

namespace fs = std::filesystem;

// What is wrong with one file; empty if nothing is.
std::string difference_in(const std::string& folder, const ReleaseFile& listed, Progress& progress) {
    const FileHandle file = open_beneath(folder, listed.path);
    if (!file) return "is missing";
    try {
        const std::string path = folder + "/" + listed.path;
        const auto size = size_of(file, path);
        if (size != listed.size) return "has " + std::to_string(size) + " bytes, not " + std::to_string(listed.size);
        const Copied found = hash_file(file, path, [&](std::uint64_t bytes) { progress.add_bytes(bytes); });
        return found.sha256 == listed.sha256 ? "" : "has another content";
    } catch (const Refusal&) {
        return "cannot be read";
    }
}

struct Check {
    fs::path folder;
    std::string name;  // "release N: "
    ReleaseCheck result;

    void note(const std::string& path, const std::string& words) {
        result.differences.push_back(name + printable(path) + ": " + words);
    }

    void check_signature(const std::string& manifest, const Key* key) {
        try {
            const Key own = key == nullptr ? load_public_key_of(folder) : nullptr;
            if (is_signed_with(key == nullptr ? own : *key, manifest)) return;
            note("manifest.bin", std::string("the signature does not verify with ") +
                                     (key == nullptr ? "the release's public.pem" : "the key"));
        } catch (const Refusal& refusal) {
            note("public.pem", refusal.what());
        }
    }

    void check_files(const std::vector<ReleaseFile>& files, std::ostream* out) {
        Progress progress(out, "verifying", files.size(), result.size_bytes);
        std::vector<std::string> words(files.size());
        for_each_index(files.size(), [&](std::size_t index) {
            words[index] = difference_in(files_folder(folder), files[index], progress);
            progress.add_file();
        });
        for (std::size_t index = 0; index < files.size(); ++index) {
            if (!words[index].empty()) note(files[index].path, words[index]);
        }
    }

    void find_others(const std::vector<ReleaseFile>& files) {
        std::unordered_set<std::string_view> listed;
        for (const ReleaseFile& file : files) listed.insert(file.path);
        const std::size_t prefix = files_folder(folder).string().size() + 1;
        if (!fs::is_directory(fs::symlink_status(files_folder(folder)))) return;  // every file of it is missing
        for (const fs::directory_entry& found : fs::recursive_directory_iterator(files_folder(folder))) {
            const std::string path = found.path().string().substr(prefix);
            const bool is_folder = fs::is_directory(found.symlink_status());
            if (!is_folder && !listed.contains(path)) note(path, "is not in the manifest");
        }
    }
};

}  // namespace

std::string manifest_of(const fs::path& tree, std::uint32_t release) {
    try {
        return read_small_file(manifest_path(release_folder(tree, release)), kMaxManifestBytes);
    } catch (const Refusal& refusal) {
        throw Refusal("release " + std::to_string(release) + ": " + refusal.what());
    }
}

std::vector<ReleaseFile> files_of_release(const fs::path& tree, std::uint32_t release) {
    const std::string manifest = manifest_of(tree, release);
    try {
        return list_manifest(manifest).files;
    } catch (const Refusal& refusal) {
        throw Refusal("release " + std::to_string(release) + ": " + refusal.what());
    }
}

bool is_signed_with(const Key& key, std::string_view manifest) {
    list_manifest(manifest);
    const std::size_t range = manifest.size() - kSignatureBlockBytes;
    return is_signature_valid(key, manifest.substr(0, range), manifest.substr(manifest.size() - kSignatureBytes));
}

ReleaseCheck check_release(const fs::path& tree, std::uint32_t release, const Key* key, std::ostream* progress) {
    Check check{release_folder(tree, release), "release " + std::to_string(release) + ": ", {}};
    Listing listing;
    std::string manifest;
    try {
        manifest = read_small_file(manifest_path(check.folder), kMaxManifestBytes);
        listing = list_manifest(manifest);
    } catch (const Refusal& refusal) {
        check.note("manifest.bin", refusal.what());
        return check.result;
    }
    check.result.file_count = listing.files.size();
    check.result.size_bytes = total_size(listing.files);
    if (listing.release != release) check.note("manifest.bin", "is that of release " + std::to_string(listing.release));
    check.check_signature(manifest, key);
    check.check_files(listing.files, progress);
    check.find_others(listing.files);
    return std::move(check.result);
}

}  // namespace vandrel_release
