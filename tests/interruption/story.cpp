#include "tests/interruption/story.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <map>
#include <mutex>
#include <stdexcept>

#include "winsim/script.h"

namespace interruption {
namespace {

using player::kInstallTime;

std::string bytes(std::size_t size, unsigned seed) {
    std::string content(size, '\0');
    for (char& byte : content) {
        seed = seed * 1103515245 + 12345;
        byte = static_cast<char>(seed >> 16);
    }
    return content;
}

std::array<Files, 5> make_releases() {
    std::array<Files, 5> releases;
    releases[kOldRelease] = {
        {"brindler_dx_x64.exe", "dx client 1"}, {"init.lua", "-- start 1"}, {"Vandrel Updater.exe", "helper 1"},
        {"data/big.dat", bytes(66000, 1)},      {"data/same.dat", "stays"}, {"data/emptied.dat", "something"}};
    Files files = releases[kOldRelease];
    files["init.lua"] = "-- start 2, longer";
    files["Vandrel Updater.exe"] = "helper 2";
    files["data/big.dat"] = bytes(66001, 2);
    files["data/emptied.dat"] = "";
    files["data/added.dat"] = bytes(300, 3);
    files["data/empty.dat"] = "";
    files["modules/new/deep/added.lua"] = "-- added 2";
    releases[kNewRelease] = files;
    files["brindler_dx_x64.exe"] = "dx client 3";
    files["init.lua"] = "-- start 3";
    files["Vandrel Updater.exe"] = "helper 3";
    files["data/big.dat"] = "small 3";
    files["data/emptied.dat"] = "filled 3";
    files.erase("modules/new/deep/added.lua");
    releases[kNextRelease] = files;
    releases[kOneFileRelease] = releases[kOldRelease];
    releases[kOneFileRelease]["data/big.dat"] = "small";
    return releases;
}

void put_bystanders(winsim::Disk& disk) {
    const std::wstring root = support::kRoot;
    const std::wstring user = L"C:\\Users\\Ana";
    const std::wstring profile = user + L"\\AppData\\Roaming\\BrindlerQ3\\main";
    for (const std::wstring& path :
         {root + L"\\brindler_gl_x64.exe", root + L"\\user.cfg", root + L"\\data\\mine.dat",
          root + L"\\modules\\game.lua", root + L"\\.vandrel-updater-notes.txt", user + L"\\Documents\\letter.txt",
          profile + L"\\config.otml", profile + L"\\updater\\other.txt", user + L"\\AppData\\Local\\Temp\\other.tmp",
          std::wstring(L"C:\\Other\\init.lua")}) {
        disk.put(path, "belongs to somebody else", kInstallTime);
    }
}

}  // namespace

const Files& release_files(std::uint32_t release) {
    static const std::array<Files, 5> releases = make_releases();
    return releases.at(release);
}

std::wstring target_of(const std::string& managed) {
    std::wstring path = std::wstring(support::kRoot) + L"\\" + support::wide(managed);
    std::ranges::replace(path, L'/', L'\\');
    return path;
}

namespace {

Snapshot make_old_release() {
    support::Machine machine;
    machine.install({});
    put_bystanders(machine.world.disk);
    for (const auto& [path, content] : release_files(kOldRelease)) {
        machine.world.disk.put(std::wstring(support::kRoot) + L"\\" + support::wide(path), content, kInstallTime);
    }
    return machine.world.disk.snapshot();
}

Snapshot make_interrupted_install() {
    HelperRun run(disk_with_old_release(), 0);
    winsim::Disk& disk = run.machine.world.disk;
    Snapshot before_commit;
    winsim::at_call(run.machine.world, "DeleteFileW", run.machine.active_record(), winsim::Moment::before,
                    [&] { before_commit = disk.snapshot(); });
    run.run();
    if (!before_commit) throw std::runtime_error("no undisturbed install comes to its commit");
    disk.restore(before_commit);
    disk.settle();
    return disk.snapshot();
}

}  // namespace

Snapshot disk_with_old_release() {
    static const Snapshot disk = make_old_release();
    return disk;
}

Snapshot disk_with_interrupted_install() {
    static const Snapshot disk = make_interrupted_install();
    return disk;
}

HelperRun::HelperRun(const Snapshot& disk, int number, std::uint32_t release) : UpdateRun(machine) {
    switch_on(disk, number);
    if (release == 0) release = number == kNextDayRun ? kNextRelease : kNewRelease;
    machine.publish(release, release_files(release));
}

std::uint32_t HelperRun::own_fault(const winsim::Call& call) {
    const bool due = fails_last_replacement && call.name == "ReplaceFileW" && call.subject == target_of("init.lua");
    return due ? 1175 : 0;
}

Snapshot disk_of(const std::string& story) {
    return story == "restoration" ? disk_with_interrupted_install() : disk_with_old_release();
}

void arrange(const std::string& story, HelperRun& run) {
    support::Machine& machine = run.machine;
    if (story == "update" || story == "restoration") return;
    if (story == "one-file") {
        machine.publish(kOneFileRelease, release_files(kOneFileRelease));
    } else if (story == "taken-back") {
        run.fails_last_replacement = true;
    } else if (story == "withdrawn") {
        machine.on_state("handoff", [&machine] { machine.say("cancel"); });
    } else if (story == "cancelled") {
        machine.tamper = [&machine, downloads = 0](const winsim::Request& request, winsim::Response&) mutable {
            downloads += request.object.find(L"action=download") != std::wstring::npos ? 1 : 0;
            if (downloads == 3) machine.say("cancel");
        };
    } else if (story == "scanned") {
        winsim::at_call(machine.world, "MoveFileExW", machine.active_record(), winsim::Moment::after, [&machine] {
            machine.world.disk.hold(machine.active_record(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
        });
    } else {
        throw std::invalid_argument("no such story: " + story);
    }
}

const winsim::explore::Recording& recording_of(const std::string& story) {
    static std::mutex mutex;
    static std::map<std::string, winsim::explore::Recording> known;
    const std::lock_guard lock(mutex);
    if (const auto found = known.find(story); found != known.end()) return found->second;
    HelperRun run(disk_of(story), kFirstRun);
    arrange(story, run);
    return known.emplace(story, winsim::explore::record(run)).first->second;
}

}  // namespace interruption
