#include "winsim/explore/exchanges.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "winsim/trace_text.h"

namespace winsim::explore {
namespace {

constexpr const wchar_t* kBehind = L"C:\\Behind";
constexpr const wchar_t* kAside = L"C:\\Aside";
constexpr const wchar_t* kLetter = L"letter.txt";

bool is_plain_folder(const Disk& disk, const std::wstring& path) {
    return disk.exists(path) && (disk.attributes(path) & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) ==
                                    FILE_ATTRIBUTE_DIRECTORY;
}

// Whether the call comes to the same before and behind an exchange of the folder: it has to do with no name, or with
// one elsewhere. Of calls with more than one name, and of handles, only one name is known.
bool is_indifferent(const Call& call, const std::wstring& folder) {
    constexpr std::array<std::string_view, 6> kWithoutSecondName{"GetFileAttributesW", "GetFileAttributesExW",
                                                                 "CreateFileW",        "DeleteFileW",
                                                                 "RemoveDirectoryW",   "CreateDirectoryW"};
    constexpr std::array<std::string_view, 8> kOther{"CloseHandle",  "FindFirstFileW", "FindNextFileW",
                                                     "FindClose",    "CopyFileW",      "MoveFileExW",
                                                     "ReplaceFileW", "CreateProcessW"};
    if (std::ranges::count(kWithoutSecondName, call.name) != 0) return !call.subject.starts_with(folder);
    return std::ranges::count(kOther, call.name) == 0;
}

// Everything that lies directly in the folder.
bool move_entries(Disk& disk, const std::wstring& folder) {
    disk.make_folder(kAside);
    for (std::wstring path : disk.tree(folder)) {
        if (path.ends_with(L'\\')) path.pop_back();
        const std::wstring name = path.substr(folder.size());
        if (name.rfind(L'\\') != 0) continue;  // it went with its own folder
        if (MoveFileExW(path.c_str(), (kAside + name).c_str(), 0) == 0) return false;
    }
    return true;
}

}  // namespace

std::string Damage::text() const {
    std::string text;
    for (const std::string& call : {deletion, rename, write}) {
        if (!call.empty()) text += (text.empty() ? "behind the junction: " : ", ") + call;
    }
    return text;
}

ExchangedFolder::ExchangedFolder(World& world) : world_(world) {
    world.gate.add_watcher([this](const Call& call, Moment moment) {
        if (done_ && moment == Moment::after) look(call);
    });
}

bool ExchangedFolder::exchange(const std::wstring& folder, Exchange way) {
    Disk& disk = world_.disk;
    if (!is_plain_folder(disk, folder)) return false;
    put_behind(folder);
    const bool moved =
        way == Exchange::moved ? MoveFileExW(folder.c_str(), kAside, 0) != 0 : move_entries(disk, folder);
    if (!moved) return false;
    disk.make_junction(folder, kBehind);
    before_ = contents();
    intact_ = before_.size();
    last_ = disk.snapshot();
    done_ = true;
    return true;
}

void ExchangedFolder::put_behind(const std::wstring& folder) {
    Disk& disk = world_.disk;
    const auto put_letter = [&disk](const std::wstring& in) { disk.put(in + L"\\" + kLetter, "a stranger's"); };
    put_letter(kBehind);
    for (const std::wstring& path : disk.tree(folder)) {
        const std::wstring copy = kBehind + path.substr(folder.size());
        if (path.ends_with(L'\\')) {
            put_letter(copy.substr(0, copy.size() - 1));
        } else {
            disk.put(copy, *disk.contents(path), disk.write_time(path));
        }
    }
}

ExchangedFolder::Contents ExchangedFolder::contents() const {
    Contents found;
    for (const std::wstring& path : world_.disk.tree(kBehind)) {
        found[path] = path.ends_with(L'\\') ? nullptr : world_.disk.contents(path);
    }
    return found;
}

void ExchangedFolder::look(const Call& call) {
    if (!world_.disk.changed_since(last_)) return;
    last_ = world_.disk.snapshot();
    const Contents now = contents();
    const std::string text = std::string(call.name) + " " + readable(call.subject);
    for (const auto& [path, content] : now) {
        if (!before_.contains(path)) came_by_.try_emplace(path, text);
    }
    const auto intact = static_cast<std::size_t>(std::ranges::count_if(before_, [&now](const auto& stood) {
        const auto found = now.find(stood.first);
        return found != now.end() && found->second == stood.second;
    }));
    if (intact == intact_) return;
    intact_ = intact;
    const bool deletes = call.name == "DeleteFileW" || call.name == "RemoveDirectoryW";
    const bool renames = call.name == "MoveFileExW" || call.name == "ReplaceFileW";
    std::string& kind = deletes ? damage_.deletion : renames ? damage_.rename : damage_.write;
    if (kind.empty()) kind = text;
}

Damage ExchangedFolder::damage() const {
    Damage damage = damage_;
    if (!done_) return damage;
    for (const auto& [path, content] : contents()) {
        const auto came = came_by_.find(path);
        if (came != came_by_.end() && damage.write.empty()) damage.write = came->second;
    }
    return damage;
}

std::vector<SamePlaces> exchange_places(Run& run, const std::wstring& folder) {
    std::vector<SamePlaces> found;
    std::uint64_t count = 0;
    run.world().gate.add_watcher([&](const Call& call, Moment moment) {
        if (moment != Moment::before) return;
        count = is_plain_folder(run.world().disk, folder) ? count + 1 : 0;
        if (count == 0 || is_indifferent(call, folder)) return;
        found.push_back({run.process(), call.number, count});
        count = 0;
    });
    run.world().gate.set_fault_rule([&run](const Call& call) { return run.own_fault(call); });
    run.run();
    run.world().gate.clear_rules();
    return found;
}

}  // namespace winsim::explore
