#include "winsim/explore/picture.h"

#include "winsim/trace_text.h"

namespace winsim::explore {

Picture picture_of(const Disk& disk, const PathTest& leaves_out) {
    Picture picture;
    for (const std::wstring& path : disk.tree(L"C:\\")) {
        if (leaves_out(path)) continue;
        Seen& seen = picture[path];
        seen.attributes = disk.attributes(path);
        if (path.ends_with(L'\\')) continue;
        seen.content = disk.contents(path);
        seen.write_time = disk.write_time(path);
    }
    return picture;
}

std::string difference(const Picture& before, const Picture& now, const PathTest& exempts) {
    for (const auto& [path, seen] : before) {
        if (exempts(path)) continue;
        const auto found = now.find(path);
        if (found == now.end()) return "gone: " + readable(path);
        const Seen& other = found->second;
        const bool same = seen.content ? other.holds(*seen.content) : !other.content;
        if (!same) return "content changed: " + readable(path);
        if (other.write_time != seen.write_time || other.attributes != seen.attributes) {
            return "time or attributes changed: " + readable(path);
        }
    }
    for (const auto& [path, seen] : now) {
        if (!exempts(path) && !before.contains(path)) return "came from nowhere: " + readable(path);
    }
    return {};
}

}  // namespace winsim::explore
