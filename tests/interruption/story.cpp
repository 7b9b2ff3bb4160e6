#include "tests/interruption/story.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace interruption {
namespace {

constexpr std::uint64_t kHour = 3600ULL * 1000 * winsim::kTicksPerMs;
constexpr std::uint64_t kFirstVisitTime = 134273808000000000;  // 1 July 2026, 12:00 UTC
constexpr std::uint64_t kInstallTime = kFirstVisitTime - 240 * kHour;

std::string bytes(std::size_t size, unsigned seed) {
    std::string content(size, '\0');
    for (char& byte : content) {
        seed = seed * 1103515245 + 12345;
        byte = static_cast<char>(seed >> 16);
    }
    return content;
}

std::array<Files, 4> make_releases() {
    std::array<Files, 4> releases;
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

std::string folder_key() {
    std::string key;
    for (const char byte : support::sha256("c:\\game")) {
        constexpr const char* kDigits = "0123456789abcdef";
        key += kDigits[static_cast<unsigned char>(byte) >> 4];
        key += kDigits[static_cast<unsigned char>(byte) & 15];
    }
    return key;
}

}  // namespace

const Files& release_files(std::uint32_t release) {
    static const std::array<Files, 4> releases = make_releases();
    return releases.at(release);
}

std::wstring target_of(const std::string& managed) {
    std::wstring path = std::wstring(support::kRoot) + L"\\" + support::wide(managed);
    std::ranges::replace(path, L'/', L'\\');
    return path;
}

std::wstring job_of(int visit) {
    constexpr const wchar_t* kDigits = L"0123456789abcdef";
    std::wstring job(32, L'a');
    for (std::size_t i = 0; i < 8; ++i) job[31 - i] = kDigits[(static_cast<unsigned>(visit) >> (4 * i)) & 15U];
    return job;
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
    Visit visit(disk_with_old_release(), 0);
    Snapshot cut;
    visit.machine.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        const bool commit = call.name == "DeleteFileW" && call.subject == visit.machine.active_record();
        if (commit && moment == winsim::Moment::before) cut = visit.machine.world.disk.snapshot();
    });
    visit.run();
    if (!cut) throw std::runtime_error("no undisturbed install comes to its commit");
    visit.machine.world.disk.restore(cut);
    visit.machine.world.disk.settle();
    return visit.machine.world.disk.snapshot();
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

Visit::Visit(const Snapshot& disk, int number)
    : Visit(disk, number, number == kNextDayVisit ? kNextRelease : kNewRelease) {}

Visit::Visit(const Snapshot& disk, int number, std::uint32_t release) : number_(number) {
    winsim::World& world = machine.world;
    world.disk.restore(disk);
    had_record_ = world.disk.exists(machine.active_record());
    const auto hours = static_cast<std::uint64_t>(number >= kNextDayVisit ? number + 24 : number);
    world.clock.set_file_time(kFirstVisitTime + hours * kHour);
    // No two visits share a process id, as none would on a machine with a day's work behind it.
    for (int i = 0; i < 3 * number; ++i) world.processes.end(world.processes.start(L"C:\\Windows\\explorer.exe"));
    machine.job = job_of(number);
    machine.publish(release, release_files(release));
    machine.client_answers("apply");
    machine.start_client();
}

Ending Visit::run() {
    Ending ending;
    if (before_run) before_run(Run::first);
    ending.first = machine.run_first();
    const bool started = !client_starts().empty() || !machine.world.processes.starts().empty();
    if (ending.first.end != winsim::RunResult::End::exited || ending.first.exit_code != 0 || !started) return ending;
    run_ = Run::copy;
    if (before_run) before_run(Run::copy);
    ending.copy = machine.run_copy();
    ending.copy_ran = true;
    return ending;
}

bool Visit::lock_is_held() const {
    static const std::wstring name = L"Local\\VandrelUpdater-" + support::wide(folder_key());
    return machine.world.processes.mutex_held(name);
}

std::vector<winsim::Start> Visit::client_starts() const {
    std::vector<winsim::Start> starts;
    for (const winsim::Start& start : machine.world.processes.starts()) {
        if (start.application == support::kClient) starts.push_back(start);
    }
    return starts;
}

}  // namespace interruption
