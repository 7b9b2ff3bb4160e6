#include "tests/interruption/oracle.h"

#include <algorithm>
#include <array>
#include <set>

#include "winsim/disk_names.h"

namespace interruption {
namespace {

const std::wstring kStore = std::wstring(support::kRoot) + L"\\.vandrel-updater\\";
const std::wstring kUpdaterFolder = L"C:\\Users\\Ana\\AppData\\Roaming\\BrindlerQ3\\main\\updater\\";
const std::wstring kCopies = L"C:\\Users\\Ana\\AppData\\Local\\Temp\\VandrelUpdater\\";
const std::wstring kAnyJob(32, L'?');

// What the rules leave behind, and for how long.
struct Leftover {
    std::wstring pattern;
    bool for_a_day;  // gone by the end of a run with work to do that comes more than 24 hours later
    const char* why;
};

const std::array<Leftover, 21>& leftovers() {
    static const std::array<Leftover, 21> table{{
        {kStore, false, "the store, once made"},
        {kStore + L"active.transaction.qmpart-*.part", false, "a stray temporary file beside the active record"},
        {kStore + kAnyJob + L"\\", false, "a folder without a staging record"},
        {kStore + kAnyJob + L"\\files\\", false, "the same"},
        {kStore + kAnyJob + L"\\staging.transaction.qmpart-*.part", false, "a stray temporary file in it"},
        {kStore + kAnyJob + L"\\staging.transaction", true, "a transaction that waits for the sweep"},
        {kStore + kAnyJob + L"\\files\\*", true, "the same"},
        {kStore + kAnyJob + L"\\backup\\", true, "the same"},
        {kStore + kAnyJob + L"\\backup\\*", true, "the same"},
        {support::kRoot + std::wstring(L"\\modules\\new\\"), false, "an empty folder of a new file"},
        {support::kRoot + std::wstring(L"\\modules\\new\\deep\\"), false, "the same"},
        {kUpdaterFolder + kAnyJob + L".status.json", false, "a job's last words"},
        {kUpdaterFolder + kAnyJob + L".status.json.qmpart-*.part", false, "a stray temporary file beside them"},
        {kUpdaterFolder + kAnyJob + L".status.json~RF*.TMP", false,
         "a status that a failed ReplaceFileW has put aside"},
        {kUpdaterFolder + kAnyJob + L".command.json", false, "the client's, which only it removes"},
        {kCopies, false, "the root of the temporary copies"},
        {kCopies + kAnyJob + L"\\", false, "a copy's folder whose copy was lost, or removed before it"},
        {kCopies + kAnyJob + L"\\Vandrel Updater.exe", true, "a temporary copy"},
        {kStore + L"active.transaction", true, "an interrupted install"},
        {kStore + kAnyJob + L"\\files\\*\\", true, "a transaction that waits for the sweep"},
        {kStore + kAnyJob + L"\\backup\\*\\", true, "the same"},
    }};
    return table;
}

bool is_helpers_own(const std::wstring& path) {
    if (path.starts_with(kStore) || path.starts_with(kCopies)) return true;
    return std::ranges::any_of(leftovers(), [&path](const Leftover& row) {
        return row.pattern.starts_with(kUpdaterFolder) && winsim::matches_pattern(path, row.pattern);
    });
}

bool is_folder_of_new_file(const std::wstring& path) {
    return path == std::wstring(support::kRoot) + L"\\modules\\new\\" ||
           path == std::wstring(support::kRoot) + L"\\modules\\new\\deep\\";
}

std::string wrong(const char* what, const std::wstring& path) {
    return std::string(what) + ": " + support::narrow(path);
}

bool is_present(const Picture& picture, const std::wstring& path, const std::string& content) {
    const auto found = picture.find(path);
    return found != picture.end() && found->second.content == content;
}

// Empty folders that were made for new files may stay.
std::string compare_others(const Picture& before, const Picture& now, const std::set<std::wstring>& exempt) {
    return winsim::explore::difference(before, now, [&](const std::wstring& path) {
        return exempt.contains(path) || (!before.contains(path) && is_folder_of_new_file(path));
    });
}

}  // namespace

Picture picture_of(const winsim::Disk& disk) {
    return winsim::explore::picture_of(disk, [](const std::wstring& path) {
        return is_helpers_own(path) || path == kUpdaterFolder || is_folder_of_new_file(path);
    });
}

Picture picture_of(const Snapshot& disk) {
    winsim::Disk looked_at;
    looked_at.restore(disk);
    return picture_of(looked_at);
}

std::string not_as_before(const Picture& before, const Picture& now) {
    return compare_others(before, now, {});
}

std::string not_updated(const Picture& before, std::uint32_t release, const Picture& now, bool rewritten) {
    std::set<std::wstring> written;
    for (const auto& [managed, content] : release_files(release)) {
        const std::wstring target = target_of(managed);
        if (!is_present(now, target, content)) return wrong("not the release's", target);
        if (rewritten || !is_present(before, target, content)) written.insert(target);
    }
    return compare_others(before, now, written);
}

std::string neither_old_nor_new(const Picture& before, std::uint32_t release, const Picture& now) {
    const std::string old = not_as_before(before, now);
    if (old.empty()) return {};
    const std::string updated = not_updated(before, release, now);
    return updated.empty() ? std::string() : old + " (as the old one), " + updated + " (as the new one)";
}

std::string foreign_content(const Picture& before, std::uint32_t release, const Picture& now) {
    std::set<std::wstring> managed;
    for (const auto& [path, content] : release_files(release)) {
        const std::wstring target = target_of(path);
        managed.insert(target);
        const auto found = now.find(target);
        if (found == now.end() || found->second.content == content) continue;
        if (!before.contains(target) || !is_present(before, target, found->second.content)) {
            return wrong("neither version", target);
        }
    }
    return compare_others(before, now, managed);
}

std::string unexpected_leftover(const winsim::Disk& disk, int run, bool a_day_later) {
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
    return disk.exists(kStore + L"active.transaction");
}

std::vector<std::wstring> missing_to_start(const winsim::Disk& disk) {
    std::vector<std::wstring> missing;
    for (const wchar_t* name : {L"init.lua", L"brindler_dx_x64.exe", L"Vandrel Updater.exe"}) {
        const std::wstring path = std::wstring(support::kRoot) + L"\\" + name;
        if (!disk.exists(path)) missing.push_back(path);
    }
    return missing;
}

}  // namespace interruption
