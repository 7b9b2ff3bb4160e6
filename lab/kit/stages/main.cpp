// The interrupted installations of the kit, as the simulated Windows leaves them, and what it makes of each:
//   kit_stages OLD NEW MANIFEST OUT
// OLD and NEW are folders, the releases 6 and 7 as a client has them; MANIFEST is the document of release 7, signed for
// the key that this build knows. Into OUT, which is there, come
//   interrupted/NAME.txt      a client folder at that moment, one line for each file, "PATH <- FILE OF THE KIT",
//                             and each folder, "PATH/ <- a folder"
//   record                    the recovery record, the same for all
//   expected/interrupted.txt  what the next start says, and what then stands in the folder, in the lines of answers.h
// The same inputs give the same bytes. Exit code 1, with a line on stderr, where something can't be read or never
// comes.
#include <cstdio>
#include <exception>
#include <map>
#include <optional>
#include <stdexcept>

#include "lab/kit/stages/kit_files.h"
#include "streaming/percent_encoding.h"
#include "winsim/player/update_run.h"

namespace {

using namespace kit_stages;
using winsim::Moment;

constexpr std::uint32_t kNameNotResolved = 12007;  // ERROR_WINHTTP_NAME_NOT_RESOLVED

// Where the power goes: in front of a call on a file of the folder, or between its two renames.
struct Point {
    const char* call;
    const wchar_t* file;
    Moment moment = Moment::before;
};

// A folder at a moment of the update, or of the restoration of the stage `from`. Without a point nothing is
// interrupted.
struct Stage {
    const char* name;
    std::optional<Point> cut;
    const char* from = nullptr;
    const wchar_t* edited = nullptr;  // somebody writes into this file afterwards
};

constexpr const wchar_t* kRecord = L".vandrel-updater\\active.transaction";
const Stage kStages[] = {
    {"no server", std::nullopt},
    {"nothing replaced", Point{"ReplaceFileW", L"data\\a.dat"}},
    {"half way", Point{"ReplaceFileW", L"data\\b.dat"}},
    {"between two names", Point{"ReplaceFileW", L"data\\b.dat", Moment::inside}},
    {"start script missing", Point{"ReplaceFileW", L"init.lua", Moment::inside}},
    {"all replaced", Point{"DeleteFileW", kRecord}},
    {"restored in part", Point{"MoveFileExW", L"init.lua"}, "all replaced"},
    {"all restored", Point{"DeleteFileW", kRecord}, "all replaced"},
    {"edited since", std::nullopt, "half way", L"data\\a.dat"},
};

// The endpoint has release 7, or nobody answers.
class Start : public player::UpdateRun {
 public:
    Start(const Kit& kit, const player::Snapshot& disk, int number, bool is_served)
        : UpdateRun(machine_), kit_(kit), is_served_(is_served) {
        switch_on(disk, number);
        machine_.world.network.serve([this](const winsim::Request& request) { return respond(request); });
    }

    player::Snapshot left() const { return machine_.world.disk.snapshot(); }

 private:
    winsim::Response respond(const winsim::Request& request) const {
        winsim::Response response;
        if (!is_served_) response.send_error = kNameNotResolved;
        response.body = kit_.manifest;
        for (const auto& [path, content] : kit_.new_files) {
            const std::wstring asked = L"&file=" + vandrel::percent_encode(player::wide(path));
            if (request.object.ends_with(asked)) response.body = content;
        }
        return response;
    }

    player::Machine machine_;
    const Kit& kit_;
    bool is_served_;
};

player::Snapshot installed(const Kit& kit) {
    winsim::Disk disk;
    for (const auto& [path, content] : kit.old_files) {
        disk.put(on_disk(player::wide(path)), content, player::kInstallTime);
    }
    return disk.snapshot();
}

// What stands when the power goes at the point: nothing that had been done is lost.
player::Snapshot cut(const Kit& kit, const player::Snapshot& disk, int number, const Point& point) {
    Start start(kit, disk, number, true);
    winsim::World& world = start.world();
    world.gate.add_watcher([&](const winsim::Call& call, Moment moment) {
        if (call.name != point.call || moment != point.moment) return;
        if (with_backslashes(std::wstring(call.subject)) == on_disk(point.file)) world.gate.cut_now();
    });
    start.run();
    if (!start.power_cut()) throw std::runtime_error(point.call + std::string(" never came: ") + start.last_words());
    world.lose_power(world.disk.nothing_lost());
    return start.left();
}

player::Snapshot edited(const player::Snapshot& disk, const wchar_t* file) {
    winsim::Disk changed;
    changed.restore(disk);
    changed.put(on_disk(file), "somebody's own");
    return changed.snapshot();
}

void write_list(const Kit& kit, const Stage& stage, const player::Snapshot& found) {
    winsim::Disk disk;
    disk.restore(found);
    std::ofstream list = written(kit.out / "interrupted" / (stage.name + std::string(".txt")));
    for (const std::wstring& path : disk.tree(player::kRoot)) {
        if (path.ends_with(L'\\')) {
            list << in_folder(path) << " <- a folder\n";
            continue;
        }
        const std::string content = disk.read(path);
        const std::string source = source_of(kit, in_folder(path), content);
        list << in_folder(path) << " <- " << source << '\n';
        if (source.find('/') == std::string::npos) written(kit.out / source) << content;
    }
}

void write_answers(const Kit& kit, const Stage& stage, const player::Snapshot& found, std::ofstream& answers) {
    Start start(kit, found, player::kThirdRun, false);
    start.run();
    const auto say = [&](const std::string& key, const std::string& value) {
        answers << stage.name << ", " << key << " -> " << value << '\n';
    };
    say("last words", start.last_words());
    std::string started;
    for (const winsim::Start& client : start.client_starts()) {
        const bool is_recovered = client.command_line.ends_with(L" --vandrel-update-recovered");
        started += is_recovered ? " as recovered" : " plainly";
    }
    say("the client started", started.empty() ? "not" : started.substr(1));
    const winsim::Disk& disk = start.world().disk;
    for (const std::wstring& path : disk.tree(player::kRoot)) {
        const bool is_folder = path.ends_with(L'\\');
        say(in_folder(path), is_folder ? "a folder" : source_of(kit, in_folder(path), disk.read(path)));
    }
}

void make_stages(const Kit& kit) {
    std::ofstream answers = written(kit.out / "expected" / "interrupted.txt");
    std::map<std::string, player::Snapshot> stages;
    for (const Stage& stage : kStages) {
        player::Snapshot disk = stage.from == nullptr ? installed(kit) : stages.at(stage.from);
        const int number = stage.from == nullptr ? player::kFirstRun : player::kSecondRun;
        if (stage.cut) disk = cut(kit, disk, number, *stage.cut);
        if (stage.edited != nullptr) disk = edited(disk, stage.edited);
        stages[stage.name] = disk;
        write_list(kit, stage, disk);
        write_answers(kit, stage, disk, answers);
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 5) {
        std::fputs("usage: kit_stages OLD NEW MANIFEST OUT\n", stderr);
        return 2;
    }
    try {
        make_stages({files_of(arguments[1]), files_of(arguments[2]), content_of(arguments[3]), arguments[4]});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kit_stages: %s\n", error.what());
        return 1;
    }
    return 0;
}
