// A probe on the simulated Windows:  probe_NAME STAGE
// STAGE is a folder of this machine; the world's C:\probe is made after it.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "lab/probes/probe.h"
#include "winsim/world.h"

namespace {

namespace fs = std::filesystem;
using winsim::World;

const std::wstring kFolder = L"C:\\probe\\";
const std::wstring kImage = kFolder + L"probe.exe";

std::string content_of(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void load(World& world, const fs::path& from, const std::wstring& to) {
    world.disk.make_folder(to);
    for (const fs::directory_entry& entry : fs::directory_iterator(from)) {
        const std::wstring path = to + entry.path().filename().wstring();
        if (entry.is_symlink()) {
            world.disk.make_junction(path, kFolder + fs::read_symlink(entry).wstring());
        } else if (entry.is_directory()) {
            load(world, entry.path(), path + L"\\");
        } else {
            world.disk.put(path, content_of(entry.path()));
        }
    }
}

int run_probe() {
    probe::run();
    return 0;
}

}  // namespace

void probe::make_read_only(const wchar_t* path, bool on) {
    World::current().disk.set_attributes(path, FILE_ATTRIBUTE_ARCHIVE | (on ? FILE_ATTRIBUTE_READONLY : 0));
}

void probe::set_write_time(const wchar_t* path, std::uint64_t ticks) {
    World::current().disk.set_write_time(path, ticks);
}

DWORD probe::start_other() {
    return World::current().processes.start(kImage);
}

void probe::end_other(DWORD id) {
    World::current().processes.end(id);
}

void probe::abandon_mutex(const wchar_t* name) {
    auto& processes = World::current().processes;
    const std::uint32_t owner = processes.start(kImage);
    processes.take_mutex(name, owner);
    processes.end(owner);
}

int main(int count, char** arguments) {
    if (count != 2) return 2;
    World world;
    load(world, arguments[1], kFolder);
    world.disk.put(kImage, "MZ");
    world.current_folder = L"C:\\probe";
    const winsim::RunResult result = world.run(kImage, L"probe.exe", run_probe);
    if (result.end == winsim::RunResult::End::exited && result.leaked_handles + result.leaked_blocks == 0) return 0;
    std::fprintf(stderr, "stopped: %s; %zu handles and %zu blocks left\n", result.reason.c_str(), result.leaked_handles,
                 result.leaked_blocks);
    return 1;
}
