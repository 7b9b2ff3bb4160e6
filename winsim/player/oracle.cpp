#include "winsim/player/oracle.h"

#include <algorithm>
#include <array>
#include <set>

#include "winsim/disk_names.h"

namespace player {
namespace {

const std::wstring kStoreFolder = std::wstring(kStore) + L"\\";
const std::wstring kUpdaterFolder = L"C:\\Users\\Ana\\AppData\\Roaming\\BrindlerQ3\\main\\updater\\";
const std::wstring kCopies = L"C:\\Users\\Ana\\AppData\\Local\\Temp\\VandrelUpdater\\";
const std::wstring kAnyJob(32, L'?');

// What the rules leave behind, and for how long.
struct Leftover {
    std::wstring pattern;
    bool for_a_day;  // gone by the end of a run with work to do that comes more than 24 hours later
    const char* why;
};

const std::array<Leftover, 19>& leftovers() {
    static const std::array<Leftover, 19> table{{
        {kStoreFolder, false, "the store, once made"},
        {kStoreFolder + L"active.transaction.qmpart-*.part", false, "a stray temporary file beside the active record"},
        {kStoreFolder + kAnyJob + L"\\", false, "a folder without a staging record"},
        {kStoreFolder + kAnyJob + L"\\files\\", false, "the same"},
        {kStoreFolder + kAnyJob + L"\\staging.transaction.qmpart-*.part", false, "a stray temporary file in it"},
        {kStoreFolder + kAnyJob + L"\\staging.transaction", true, "a transaction that waits for the sweep"},
        {kStoreFolder + kAnyJob + L"\\files\\*", true, "the same"},
        {kStoreFolder + kAnyJob + L"\\backup\\", true, "the same"},
        {kStoreFolder + kAnyJob + L"\\backup\\*", true, "the same"},
        {kUpdaterFolder + kAnyJob + L".status.json", false, "a job's last words"},
        {kUpdaterFolder + kAnyJob + L".status.json.qmpart-*.part", false, "a stray temporary file beside them"},
        {kUpdaterFolder + kAnyJob + L".status.json~RF*.TMP", false,
         "a status that a failed ReplaceFileW has put aside"},
        {kUpdaterFolder + kAnyJob + L".command.json", false, "the client's, which only it removes"},
        {kCopies, false, "the root of the temporary copies"},
        {kCopies + kAnyJob + L"\\", false, "a copy's folder whose copy was lost, or removed before it"},
        {kCopies + kAnyJob + L"\\Vandrel Updater.exe", true, "a temporary copy"},
        {kStoreFolder + L"active.transaction", true, "an interrupted install"},
        {kStoreFolder + kAnyJob + L"\\files\\*\\", true, "a transaction that waits for the sweep"},
        {kStoreFolder + kAnyJob + L"\\backup\\*\\", true, "the same"},
    }};
    return table;
}

bool is_helpers_own(const std::wstring& path) {
    if (path.starts_with(kStoreFolder) || path.starts_with(kCopies)) return true;
    return std::ranges::any_of(leftovers(), [&path](const Leftover& row) {
        return row.pattern.starts_with(kUpdaterFolder) && winsim::matches_pattern(path, row.pattern);
    });
}

std::string wrong(const char* what, const std::wstring& path) {
    return std::string(what) + ": " + narrow(path);
}

bool is_present(const Picture& picture, const std::wstring& path, const winsim::Bytes& content) {
    const auto found = picture.find(path);
    return found != picture.end() && found->second.holds(content);
}

std::string compare_others(const Picture& before, const Picture& now, const std::set<std::wstring>& exempt) {
    return winsim::explore::difference(before, now,
                                       [&exempt](const std::wstring& path) { return exempt.contains(path); });
}

}  // namespace

Picture Oracle::picture_of(const winsim::Disk& disk) const {
    Picture picture = winsim::explore::picture_of(disk, [this](const std::wstring& path) {
        return is_helpers_own(path) || path == kUpdaterFolder || is_new_folder_(path);
    });
    if (spelling_ == Spelling::exact) return picture;
    Picture folded;
    for (auto& [path, seen] : picture) folded.emplace(winsim::fold(path), std::move(seen));
    return folded;
}

Picture Oracle::picture_of(const Snapshot& disk) const {
    winsim::Disk looked_at;
    looked_at.restore(disk);
    return picture_of(looked_at);
}

std::string Oracle::not_as_before(const Picture& before, const Picture& now) const {
    return compare_others(before, now, {});
}

std::string Oracle::not_updated(const Picture& before, const Layout& release, const Picture& now,
                                bool rewritten) const {
    std::set<std::wstring> written;
    for (const auto& [target, content] : release) {
        if (!is_present(now, target, *content)) return wrong("not the release's", target);
        if (rewritten || !is_present(before, target, *content)) written.insert(target);
    }
    return compare_others(before, now, written);
}

std::string Oracle::neither_old_nor_new(const Picture& before, const Layout& release, const Picture& now) const {
    const std::string old = not_as_before(before, now);
    if (old.empty()) return {};
    const std::string updated = not_updated(before, release, now);
    return updated.empty() ? std::string() : old + " (as the old one), " + updated + " (as the new one)";
}

std::string Oracle::foreign_content(const Picture& before, const Layout& release, const Picture& now) const {
    std::set<std::wstring> managed;
    for (const auto& [target, content] : release) {
        managed.insert(target);
        const auto found = now.find(target);
        if (found == now.end() || found->second.holds(*content)) continue;
        const auto old = before.find(target);
        if (old == before.end() || !found->second.content || !old->second.holds(*found->second.content)) {
            return wrong("neither version", target);
        }
    }
    return compare_others(before, now, managed);
}

std::string Oracle::unexpected_leftover(const winsim::Disk& disk, int run, bool a_day_later) const {
    const std::wstring last_copy = kCopies + job_of(run) + L"\\Vandrel Updater.exe";
    for (const std::wstring& path : disk.tree(L"C:\\")) {
        if (!is_helpers_own(path) || path == last_copy) continue;
        const bool allowed = std::ranges::any_of(leftovers(), [&](const Leftover& row) {
            if (a_day_later && row.for_a_day) return false;
            return path.ends_with(L'\\') == row.pattern.ends_with(L'\\') && winsim::matches_pattern(path, row.pattern);
        });
        if (!allowed) return wrong("left behind", path);
        if (a_day_later && path.ends_with(L"\\files\\") && disk.tree(path).size() != 0) return wrong("not empty", path);
    }
    return has_active_record(disk) ? "left behind: the active record" : "";
}

bool has_active_record(const winsim::Disk& disk) {
    return disk.exists(kStoreFolder + L"active.transaction");
}

std::vector<std::wstring> missing_to_start(const winsim::Disk& disk, const std::wstring& client) {
    std::vector<std::wstring> missing;
    for (const std::wstring& path : {std::wstring(kRoot) + L"\\init.lua", client, std::wstring(kHelper)}) {
        if (!disk.exists(path)) missing.push_back(path);
    }
    return missing;
}

}  // namespace player
