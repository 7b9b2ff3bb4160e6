// The kit's one program: asks this Windows what the simulated one has been asked, and writes report.txt beside itself.
//   kit [PART...]    probes, interrupted, planted; all of them if none is named
// What it leaves is told in README.txt. Exit code 0 if the report has been written, whatever it says.

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <stdexcept>

#include "lab/kit/client_folder.h"
#include "lab/kit/parts.h"
#include "lab/kit/personal.h"

namespace kit {
namespace {

namespace fs = std::filesystem;

fs::path own_folder() {
    wchar_t path[MAX_PATH] = {};
    const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) throw std::runtime_error("the kit's folder has too long a path");
    return fs::path(path).parent_path();
}

Place prepare() {
    // What goes wrong is an answer, not a dialog; programs that are started inherit that, and the folder.
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    const Place place{own_folder(), own_folder() / "work"};
    if (!fs::exists(place.kit / "version.txt")) throw std::runtime_error("extract the whole archive first");
    if (!remove_tree(place.work)) throw std::runtime_error("the folder \"work\" of an earlier run can't be removed");
    fs::create_directories(place.temporary());
    for (const wchar_t* name : {L"TMP", L"TEMP"}) SetEnvironmentVariableW(name, place.temporary().c_str());
    return place;
}

// Wine says so, whatever Windows it takes itself for.
std::string system_name(const Place& place) {
    std::string told = output_of(command_shell(), L"/d /c ver", place.work, place.work / "ver.txt");
    std::erase_if(told, [](char byte) { return byte < ' ' || byte > '~'; });
    const bool is_wine = GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
    return is_wine ? "Wine, as " + told : told;
}

using Part = void (*)(const Place&, Report&);

void ask(const Place& place, const std::string& name, Part part, Report& report) try {
    part(place, report);
} catch (const std::exception& error) {
    report.add_failure(name, error.what());
}

void write_report(const Place& place, const std::string& system, const Report& report) {
    const std::string heading = "Kit for a real Windows, version " + content_of(place.kit / "version.txt") +
                                "\nSystem: " + system + "\n" + report.summary() + "\n";
    std::ofstream file(place.kit / "report.txt", std::ios::binary);
    file << without_personal(heading + report.text(), place.kit);
    if (!file.flush()) throw std::runtime_error("report.txt can't be written");
    std::printf("\n%s\nThe report is %s\n", report.summary().c_str(), (place.kit / "report.txt").string().c_str());
}

void run(const std::vector<std::string>& wanted) {
    const Place place = prepare();
    const std::string system = system_name(place);
    Report report;
    {
        const Profile profile;
        const std::pair<const char*, Part> parts[] = {
            {"probes", ask_probes}, {"interrupted", ask_interrupted}, {"planted", ask_planted}};
        for (const auto& [name, part] : parts) {
            if (wanted.empty() || std::ranges::count(wanted, name) != 0) ask(place, name, part, report);
        }
    }
    write_report(place, system, report);
    remove_tree(place.work);
}

}  // namespace
}  // namespace kit

int main(int count, char** arguments) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    try {
        kit::run({arguments + 1, arguments + count});
    } catch (const std::exception& error) {
        std::printf("The kit has not come to its end: %s\n", error.what());
        return 1;
    }
    return 0;
}
