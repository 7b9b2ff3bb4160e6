#include "release/rehearsal/kept_release.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <mutex>

#include "player/machine.h"
#include "release/files.h"
#include "release/manifest_format.h"
#include "release/refusal.h"
#include "release/release_check.h"
#include "release/tree.h"
#include "winsim/disk_names.h"

namespace vandrel_release {
namespace {

std::string damage_of(const std::string& path, std::uint32_t release) {
    return printable(path) + " of release " + std::to_string(release) + " is missing or damaged";
}

// The one file of a release that is open: a release may have more of them than a process may hold open.
struct OpenFile {
    std::mutex mutex;
    std::string path;
    FileHandle handle;
};

class TreeFile : public winsim::Source {
 public:
    TreeFile(std::filesystem::path folder, std::uint32_t release, ReleaseFile file, std::shared_ptr<OpenFile> open)
        : folder_(std::move(folder)), release_(release), file_(std::move(file)), open_(std::move(open)) {}

    std::uint64_t size() const override { return file_.size; }

    std::uint64_t identity() const override {
        std::uint64_t digest = 0;
        std::memcpy(&digest, file_.sha256.data(), sizeof digest);
        return winsim::mix(digest, release_);  // what really stands there may be another release's neighbour
    }

    void read(std::uint64_t offset, char* to, std::size_t count) const override {
        const std::scoped_lock lock(open_->mutex);
        if (!open_->handle || open_->path != file_.path) {
            open_->handle = open_beneath(folder_, file_.path);
            open_->path = file_.path;
        }
        while (count != 0) {
            const ssize_t got = ::pread(open_->handle.get(), to, count, static_cast<off_t>(offset));
            if (got <= 0) throw Refusal(damage_of(file_.path, release_));
            to += got;
            offset += static_cast<std::uint64_t>(got);
            count -= static_cast<std::size_t>(got);
        }
    }

 private:
    std::filesystem::path folder_;
    std::uint32_t release_;
    ReleaseFile file_;
    std::shared_ptr<OpenFile> open_;
};

std::wstring target_of(const std::string& path) {
    std::wstring target = std::wstring(player::kRoot) + L"\\" + player::wide(path);
    std::ranges::replace(target, L'/', L'\\');
    return target;
}

}  // namespace

KeptRelease::KeptRelease(const std::filesystem::path& tree, std::uint32_t number)
    : number_(number), manifest_(manifest_of(tree, number)) {
    const std::filesystem::path folder = files_folder(release_folder(tree, number));
    const auto open = std::make_shared<OpenFile>();
    for (const ReleaseFile& file : list_manifest(manifest_).files) {
        const auto source = std::make_shared<TreeFile>(folder, number, file, open);
        index_.emplace(file.path, files_.size());
        files_.push_back({file.path, target_of(file.path), source, std::make_shared<winsim::Bytes>(source)});
    }
}

const KeptFile* KeptRelease::find(const std::string& path) const {
    const auto found = index_.find(path);
    return found == index_.end() ? nullptr : &files_[found->second];
}

player::Layout KeptRelease::layout() const {
    player::Layout layout;
    for (const KeptFile& file : files_) layout.emplace(winsim::fold(file.target), file.contents);
    return layout;
}

void KeptRelease::require_files(const std::filesystem::path& tree) const {
    const std::filesystem::path folder = files_folder(release_folder(tree, number_));
    for (const KeptFile& file : files_) {
        const FileHandle handle = open_beneath(folder, file.path);
        if (handle && static_cast<std::uint64_t>(status_of(handle, file.path).st_size) == file.source->size()) continue;
        throw Refusal(damage_of(file.path, number_));
    }
}

}  // namespace vandrel_release
