#include "release/rehearsal/kept_release.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <mutex>

#include "release/files.h"
#include "release/manifest_format.h"
#include "release/refusal.h"
#include "release/release_check.h"
#include "release/tree.h"
#include "winsim/disk_names.h"
#include "winsim/player/machine.h"

namespace vandrel_release {
namespace {

// What all files of a release share; one of them is open: it may have more than a process may hold open.
struct OpenRelease {
    std::filesystem::path folder;
    std::uint32_t release = 0;
    std::mutex mutex;
    std::string path;
    FileHandle handle;
};

class TreeFile : public winsim::Source {
 public:
    TreeFile(std::shared_ptr<OpenRelease> all, ReleaseFile file) : all_(std::move(all)), file_(std::move(file)) {}

    std::uint64_t size() const override { return file_.size; }

    std::uint64_t identity() const override {
        std::uint64_t digest = 0;
        std::memcpy(&digest, file_.sha256.data(), sizeof digest);
        return winsim::mix(digest, all_->release);  // what really stands there may be another release's neighbour
    }

    void read(std::uint64_t offset, char* to, std::size_t count) const override {
        const std::scoped_lock lock(all_->mutex);
        if (!all_->handle || all_->path != file_.path) {
            all_->handle = open_beneath(all_->folder, file_.path);
            all_->path = file_.path;
        }
        while (count != 0) {
            const ssize_t got = ::pread(all_->handle.get(), to, count, static_cast<off_t>(offset));
            if (got <= 0) refuse_damage(file_.path, all_->release);
            to += got;
            offset += static_cast<std::uint64_t>(got);
            count -= static_cast<std::size_t>(got);
        }
    }

 private:
    std::shared_ptr<OpenRelease> all_;
    ReleaseFile file_;
};

std::wstring target_of(const std::string& path) {
    std::wstring target = std::wstring(player::kRoot) + L"\\" + player::wide(path);
    std::ranges::replace(target, L'/', L'\\');
    return target;
}

}  // namespace

KeptRelease::KeptRelease(const std::filesystem::path& tree, std::uint32_t number)
    : number_(number), manifest_(manifest_of(tree, number)) {
    const auto all = std::make_shared<OpenRelease>();
    all->folder = files_folder(release_folder(tree, number));
    all->release = number;
    for (const ReleaseFile& file : list_manifest(manifest_).files) {
        const auto source = std::make_shared<TreeFile>(all, file);
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
        if (handle && size_of(handle, file.path) == file.source->size()) continue;
        refuse_damage(file.path, number_);
    }
}

}  // namespace vandrel_release
