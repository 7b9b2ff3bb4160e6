#include <windows.h>

#include <cstdio>

#include "lab/kit/parts.h"
#include "lab/kit/programs.h"

namespace kit {
namespace {

namespace fs = std::filesystem;

const fs::path kFolder = L"C:\\probe";
const fs::path kLink = kFolder / "link";

// The folder as each probe finds it; lab/probes/run.py makes it in the same way. The link stays from one to the next:
// links are made and removed by scripts, which whoever runs the kit on another system may replace.
class Stage {
 public:
    explicit Stage(const Place& place) : place_(place) {}
    ~Stage() {
        clear();
        try {
            fs::create_directories(kFolder / "real");  // without what it leads to a link isn't seen everywhere
            if (fs::exists(kLink)) run_script("remove_link.cmd");
        } catch (const std::exception&) {  // what stays is in README.txt
        }
        remove_tree(kFolder);
    }
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    void make(const std::string& name) const {
        clear();
        copy_tree(place_.kit / "probes" / name, kFolder);
        fs::copy_file(place_.kit / "probes" / (name + ".exe"), kFolder / "probe.exe");
        if (!fs::exists(kLink)) run_script("make_link.cmd");
    }

 private:
    static void clear() {
        std::error_code ignored;
        for (const fs::directory_entry& entry : fs::directory_iterator(kFolder, ignored)) {
            if (entry.path() != kLink) remove_tree(entry.path());
        }
    }

    void run_script(const char* name) const {
        const std::wstring paths = L" " + kLink.native() + L" " + (kFolder / "real").native();
        output_of(command_shell(), L"/d /c \"\"" + (place_.kit / name).native() + L"\"" + paths + L"\"", place_.work,
                  place_.work / "script.txt");
    }

    const Place& place_;
};

void ask(const Place& place, const std::string& name, const Stage& stage, Report& report) try {
    std::printf("probe %s\n", name.c_str());
    const Answers expected = parse_answers(content_of(place.kit / "expected" / (name + ".txt")));
    stage.make(name);
    const std::string said = output_of(kFolder / "probe.exe", L"", kFolder, place.work / "said.txt");
    report.add(name, expected, parse_answers(said));
} catch (const std::exception& error) {
    report.add_failure(name, error.what());
}

}  // namespace

void ask_probes(const Place& place, Report& report) {
    if (GetFileAttributesW(kFolder.c_str()) != INVALID_FILE_ATTRIBUTES) {
        report.add_failure("probes", "C:\\probe is there already");
        return;
    }
    const Stage stage(place);
    for (const fs::directory_entry& entry : fs::directory_iterator(place.kit / "probes")) {
        if (entry.path().extension() == ".exe") ask(place, entry.path().stem().string(), stage, report);
    }
}

}  // namespace kit
