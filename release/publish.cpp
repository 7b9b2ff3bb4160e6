#include "release/publish.h"

#include <algorithm>
#include <atomic>
#include <iterator>

#include "manifest/digests.h"
#include "manifest/manifest.h"
#include "release/copying.h"
#include "release/detached_signature.h"
#include "release/key_file.h"
#include "release/manifest_format.h"
#include "release/parallel.h"
#include "release/progress.h"
#include "release/refusal.h"
#include "release/release_folder.h"
#include "release/release_policy.h"
#include "release/signing_key.h"
#include "release/tree.h"
#include "release/tree_changes.h"

namespace vandrel_release {
namespace {

namespace fs = std::filesystem;

void check_number(const PublishOptions& options) {
    const std::string number = "release " + std::to_string(options.release);
    if (fs::exists(release_folder(options.tree, options.release))) throw Refusal(number + " is published already");
    const std::uint32_t newest = newest_release(options.tree);
    if (options.release <= newest && !options.allow_older) {
        throw Refusal(number + " is not newer than release " + std::to_string(newest) + " (see --allow-older)");
    }
}

// Whether one path is the other, or lies in it, whatever links lead there.
bool lies_in(const fs::path& path, const fs::path& folder) {
    const fs::path inner = fs::weakly_canonical(fs::absolute(path));
    const fs::path outer = fs::weakly_canonical(fs::absolute(folder));
    return std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end();
}

void check_places(const PublishOptions& options) {
    if (lies_in(options.tree, options.folder)) throw Refusal("the tree lies in the client folder");
    if (lies_in(options.folder, options.tree)) throw Refusal("the client folder lies in the tree");
    if (fs::is_regular_file(options.key) && lies_in(options.key, options.folder)) {
        throw Refusal("the private key lies in the client folder");
    }
}

// One pass for everything that is wrong with the folder.
void check_content(const PublishOptions& options, const Key& key, const FolderContent& content) {
    std::vector<std::string> all = content.refusals;
    const auto add = [&all](std::vector<std::string> texts) { std::ranges::move(texts, std::back_inserter(all)); };
    add(texts_of(policy_refusals(content.files, options.release, options.arch, options.clients), content.files));
    add(spelling_refusals(content.files));
    add(key_refusals(options.tree, key, options.allowed));
    add(helper_refusals(options.folder, content.files, key, options.allowed));
    if (!options.allowed.kind_change) add(kind_refusals(options.tree, content.files));
    refuse_any(std::move(all));
}

// The release whose files may be shared: the newest one; none gives an empty path.
fs::path twins_of(const fs::path& tree) {
    const std::vector<std::uint32_t> releases = releases_in(tree);
    return releases.empty() ? fs::path() : files_folder(release_folder(tree, releases.back()));
}

// Files that the newest release has in the same size are taken for unchanged, which take no room.
void check_space(const fs::path& tree, const std::vector<ReleaseFile>& files) {
    const fs::path twins = twins_of(tree);
    std::uint64_t needed = 0;
    for (const ReleaseFile& file : files) {
        std::error_code error;
        const bool is_shared = !twins.empty() && fs::file_size(twins / file.path, error) == file.size;
        if (!is_shared) needed += file.size;
    }
    if (const std::uint64_t available = fs::space(tree).available; needed > available) {
        throw Refusal("the release needs " + std::to_string(needed) + " bytes; the tree's disk has room for " +
                      std::to_string(available));
    }
}

void make_folders(const fs::path& to, const std::vector<ReleaseFile>& files) {
    std::string_view last;
    for (const ReleaseFile& file : files) {  // sorted, so that most lie where the one before them does
        const std::string_view folder = vandrel::folder_of(file.path);
        if (folder != last) fs::create_directories(to / folder);
        last = folder;
    }
}

// Copies the files into the staging folder and takes size and digest from the bytes that were copied. Meanwhile one
// thread judges the content, before it copies with the others: what it refuses comes before any failure of a copy.
void judge_and_copy(const PublishOptions& options, const Key& key, const fs::path& to, FolderContent& content) {
    std::vector<ReleaseFile>& files = content.files;
    make_folders(to, files);
    const std::string twins = twins_of(options.tree).string();
    const std::string from = options.folder.string() + "/";
    const std::string folder = to.string() + "/";
    std::vector<Digest> digests(files.size());
    std::atomic<bool> is_refused = false;
    Progress progress(options.progress, "publishing", files.size(), total_size(files));
    const auto judge = [&] {
        try {
            check_content(options, key, content);
        } catch (...) {
            is_refused = true;
            throw;
        }
    };
    const auto copy = [&](std::size_t index) {
        const ReleaseFile& file = files[index];
        const std::string twin = twins.empty() ? std::string() : twins + "/" + file.path;
        const Copied copied = copy_and_hash(from + file.path, folder + file.path, twin, [&](std::uint64_t bytes) {
            if (is_refused) throw Refusal("a copy in vain");  // not told: the content's own refusals come first
            progress.add_bytes(bytes);
        });
        if (copied.size != file.size) {  // the policy was asked about the other size
            throw Refusal(printable(file.path) + ": changed while it was being published");
        }
        digests[index] = copied.sha256;
        progress.add_file();
    };
    for_each_index(1 + files.size(), [&](std::size_t index) { index == 0 ? judge() : copy(index - 1); });
    for (std::size_t i = 0; i < files.size(); ++i) files[i].sha256 = digests[i];
}

std::string make_manifest(const Key& key, std::uint32_t release, const std::vector<ReleaseFile>& files) {
    const std::string range = signed_range(release, files);
    const std::string signature = sign(key, range);
    if (!is_signature_valid(key, range, signature)) {
        throw Refusal("the new signature does not verify with the key's public half");
    }
    return finished_manifest(range, signature);
}

void commit_signed(Publication& publication, const Key& key, const PublishOptions& options,
                   const std::string& manifest) {
    write_new_file(manifest_path(publication.staging()), manifest, 0644);
    write_new_file(public_key_path(publication.staging()), public_pem(key), 0644);
    publication.commit(options.release, options.current);
}

// Gives the digest that is to be signed.
std::string keep_unsigned(Publication& publication, const PublishOptions& options, const std::string& range) {
    SigningRequest request(options.unsigned_file, range);
    publication.keep_unsigned(options.release, range);
    request.keep();
    return request.digest();
}

std::vector<std::string> notes_on(const FolderContent& content) {
    std::vector<std::string> notes;
    for (const std::string& folder : content.empty_folders) {
        notes.push_back(printable(folder) + " is empty and not part of the release");
    }
    for (const std::string& pattern : content.idle_patterns) {
        notes.push_back("--skip " + printable(pattern) + " matched nothing");
    }
    return notes;
}

}  // namespace

PublishReport publish(const PublishOptions& options) {
    if (options.arch != kArch) {
        throw Refusal("there is no channel " + printable(options.arch) + "; the only one is " + std::string(kArch));
    }
    require_client_names(options.clients, options.arch);
    check_places(options);
    const bool is_unsigned = !options.unsigned_file.empty();
    const Key key =
        is_unsigned ? load_public_key(options.public_key) : load_signing_key(options.key, options.passphrase);
    check_number(options);
    FolderContent content = list_release_folder(options.folder, options.skip_patterns);
    signed_range(options.release, content.files);                         // throws if the manifest would be too large
    if (!content.refusals.empty()) check_content(options, key, content);  // throws: nothing needs to be copied first

    Publication publication(options.tree);
    check_number(options);  // again: only now nobody else can publish
    check_space(options.tree, content.files);
    PublishReport report;
    judge_and_copy(options, key, files_folder(publication.staging()), content);
    if (is_unsigned) {
        report.digest_to_sign = keep_unsigned(publication, options, signed_range(options.release, content.files));
    } else {
        const std::string manifest = make_manifest(key, options.release, content.files);
        commit_signed(publication, key, options, manifest);
        report.manifest_sha256 = vandrel::hex_lower(sha256_of(manifest));
    }
    report.file_count = content.files.size();
    report.size_bytes = total_size(content.files);
    report.manifest_bytes = manifest_size(content.files);
    report.notes = notes_on(content);
    report.skipped = std::move(content.skipped);
    return report;
}

}  // namespace vandrel_release
