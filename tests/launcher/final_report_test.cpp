#include <new>

#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

const std::wstring kProfiles = L"C:\\Users\\Ana\\AppData\\Roaming\\BrindlerQ3";

struct Report {
    const char* name;
    Spoil spoil;
    const char* detail;  // null: nothing may be written
};

// The path from the profiles' folder on.
Spoil status(const std::wstring& path) {
    return argument("status", L"/STATUS=" + kProfiles + path + L".status.json");
}
void exhausted(Machine& /*machine*/, Faults& /*faults*/) {
    throw std::bad_alloc();
}
const char* const kForeign = "Argumento desconhecido.";

const std::vector<Report> kReports{
    {"as it is", [](Line&) {}, kForeign},
    {"malformed switches beside it", argument("arch", L"=/job"), kForeign},
    {"/JOB once more without a value", argument("x", L"/job"), "Argumento repetido."},
    {"/JOB= twice", argument("x", std::wstring(L"/job=") + kJob), nullptr},
    {"/STATUS= twice", argument("x", L"/Status=" + kProfiles + L"\\main\\updater\\" + kJob + L".status.json"), nullptr},
    {"no /JOB=", without("job"), nullptr},
    {"an upper-case job", argument("job", L"/JOB=" + kUpperJob), kForeign},
    {"an upper-case file name", status(L"\\main\\updater\\" + kUpperJob), nullptr},
    {"a job that is none, and its file",
     [](Line& line) { argument("job", L"/JOB=g")(line), status(L"\\main\\updater\\g")(line); }, nullptr},
    {"too high", status(std::wstring(L"\\updater\\") + kJob), nullptr},
    {"too deep", status(std::wstring(L"\\a\\b\\updater\\") + kJob), nullptr},
    {"a folder that is no name", status(std::wstring(L"\\.\\updater\\") + kJob), nullptr},
    {"no roaming folder", refused("SHGetFolderPathW"), nullptr},
    {"a roaming folder with a warning", warned, nullptr},
    {"the file is a redirection", meeting(junction(kProfiles + L"\\main\\updater\\" + kJob + L".status.json")),
     nullptr},
    {"its folder is a redirection", meeting(junction(kProfiles + L"\\main\\updater")), nullptr},
    {"its folder is a file", meeting(file(kProfiles + L"\\main\\updater", "mine")), nullptr},
    {"the memory runs out", meeting(ahead_of("CreateFileW", L"", exhausted)), nullptr},
    {"the line can't be split", refused("CommandLineToArgvW"), nullptr},
};

// Every line has an unknown switch, so that its failure comes before the launch options are in place.
TEST(FinalReport, before_the_options_are_in_place_only_a_proved_status_path_is_written) {
    for (const Report& report : kReports) {
        SCOPED_TRACE(report.name);
        Line line;
        line.arguments["foreign"] = L"/VERBOSE";
        report.spoil(line);
        const Files before = files_beneath(line.machine.world.disk, L"C:\\Users");
        EXPECT_EQ(line.machine.run(line.text()).exit_code, 1);
        if (report.detail == nullptr) {
            EXPECT_EQ(files_beneath(line.machine.world.disk, L"C:\\Users"), before);
            continue;
        }
        EXPECT_EQ(line.machine.status_text(), R"({"jobId":"0123456789abcdef0123456789abcdef","state":"error",)"
                                              R"("progress":0,"detail":")" +
                                                  std::string(report.detail) +
                                                  "\",\"release\":0,\"pendingFiles\":0}\n");
    }
}

TEST(FinalReport, a_profile_with_equals_signs_in_its_name_is_told_and_a_system_exceptions_text_is_not) {
    Line line;
    status(std::wstring(L"\\a=b=c\\updater\\") + kJob)(line);
    line.faults.add("GetFileAttributesExW", L"init.lua", 5);
    EXPECT_EQ(line.machine.run(line.text()).exit_code, 1);
    const std::string text = line.machine.world.disk.read(kProfiles + L"\\a=b=c\\updater\\" + kJob + L".status.json");
    EXPECT_NE(text.find("Argumentos ou caminho local do atualizador invalidos."), std::string::npos) << text;
}

TEST(FinalReport, one_that_cannot_be_written_leaves_the_earlier_status_and_the_exit_code) {
    Job machine;
    Faults faults(machine.world);
    faults.add("CreateMutexW");
    faults.add("CreateFileW", L".status.json", 5, 100, 1);
    EXPECT_EQ(machine.run_first().exit_code, 1);
    EXPECT_EQ(machine.status(), (Status{narrow(kJob), "checking", 0, "Verificando atualizacoes...", 0, 0}));
}

TEST(Entry, no_call_comes_before_those_that_forbid_dialogs_and_planted_libraries) {
    Job machine;
    machine.world.gate.keep_trace(true);
    machine.run_first();
    EXPECT_EQ(machine.world.gate.trace().at(0), "1 SetThreadErrorMode 32771 -> 1");
    EXPECT_EQ(machine.world.gate.trace().at(1), "2 SetDefaultDllDirectories -> 1");
}

}  // namespace
}  // namespace support
