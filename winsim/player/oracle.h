// What must be true of a player's disk, whatever has happened to it. Each check gives what is wrong in one line, or
// nothing.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "winsim/explore/picture.h"
#include "winsim/player/update_run.h"

namespace player {

using winsim::explore::PathTest;
using winsim::explore::Picture;

// The files that a release puts into the client's folder, by their full paths.
using Layout = std::map<std::wstring, std::shared_ptr<const winsim::Bytes>>;

bool has_active_record(const winsim::Disk& disk);

// The paths of the folder without which nobody can start that client or the helper, or which the helper demands of a
// complete folder: those that are missing.
std::vector<std::wstring> missing_to_start(const winsim::Disk& disk, const std::wstring& client);

// `any`: names are compared as Windows compares them, and pictures and layouts hold them folded.
enum class Spelling : bool { exact, any };

class Oracle {
 public:
    // `is_new_folder`: of the folders that a new release brings (full paths with a trailing "\"), which may stay behind
    // empty. They are in no picture.
    explicit Oracle(PathTest is_new_folder, Spelling spelling = Spelling::exact)
        : is_new_folder_(std::move(is_new_folder)), spelling_(spelling) {}

    // Every file and folder on the disk that isn't the helper's own.
    Picture picture_of(const winsim::Disk& disk) const;
    Picture picture_of(const Snapshot& disk) const;

    // The folder and all that surrounds it are exactly as in `before`: contents, names, spellings, times, attributes.
    std::string not_as_before(const Picture& before, const Picture& now) const;
    // The folder's managed files are exactly the release's; everything else, and each file that was the release's
    // already, is as in `before`. `rewritten`: such a file may have been written once more.
    std::string not_updated(const Picture& before, const Layout& release, const Picture& now,
                            bool rewritten = false) const;
    // One of both.
    std::string neither_old_nor_new(const Picture& before, const Layout& release, const Picture& now) const;
    // Each managed file by itself is as before, or the release's, or missing; everything else is as before.
    std::string foreign_content(const Picture& before, const Layout& release, const Picture& now) const;

    // What the helper has left of itself on the disk must be in the list of what the rules leave: directly after a run
    // that ended by itself; or, `a_day_later`, after a run with work to do that came when everything else was more than
    // 24 hours old.
    std::string unexpected_leftover(const winsim::Disk& disk, int run, bool a_day_later) const;

 private:
    PathTest is_new_folder_;
    Spelling spelling_;
};

}  // namespace player
