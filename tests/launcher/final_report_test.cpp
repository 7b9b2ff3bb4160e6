#include <functional>

#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

const std::wstring kUpperJob = L"0123456789ABCDEF0123456789ABCDEF";
const std::wstring kProfile = L"/STATUS=C:\\Users\\Ana\\AppData\\Roaming\\BrindlerQ3\\";

struct Report {
    const char* name;
    std::function<void(Line&)> spoil;
    const char* detail;  // null: nothing may be written
};

// Every line has an unknown switch, so that its failure comes before the launch options are in place.
TEST(FinalReport, before_the_options_are_in_place_only_a_proved_status_path_is_written) {
    const std::vector<Report> reports{
        {"as it is", [](Line&) {}, "Argumento desconhecido."},
        {"malformed switches beside it", [](Line& line) { line.arguments["arch"] = L"=/job"; },
         "Argumento desconhecido."},
        {"/JOB once more without a value", [](Line& line) { line.arguments["x"] = L"/job"; }, "Argumento repetido."},
        {"/JOB= twice", [](Line& line) { line.arguments["x"] = L"/job=" + line.machine.job; }, nullptr},
        {"/STATUS= twice", [](Line& line) { line.arguments["x"] = L"/Status="; }, nullptr},
        {"no /JOB=", [](Line& line) { line.arguments.erase("job"); }, nullptr},
        {"an upper-case job", [](Line& line) { line.arguments["job"] = L"/JOB=" + kUpperJob; },
         "Argumento desconhecido."},
        {"an upper-case file name",
         [](Line& line) { line.arguments["status"] = kProfile + L"main\\updater\\" + kUpperJob + L".status.json"; },
         nullptr},
        {"too high", [](Line& line) { line.arguments["status"] = kProfile + L"updater\\" + kJob + L".status.json"; },
         nullptr},
        {"too deep",
         [](Line& line) { line.arguments["status"] = kProfile + L"a\\b\\updater\\" + kJob + L".status.json"; },
         nullptr},
        {"a folder that is no name",
         [](Line& line) { line.arguments["status"] = kProfile + L".\\updater\\" + kJob + L".status.json"; }, nullptr},
        {"no roaming folder", [](Line& line) { line.faults.add("SHGetFolderPathW", L"", 5, 100); }, nullptr},
        {"the file is a redirection", [](Line& line) { redirect(line.machine.world, line.machine.status_path()); },
         nullptr},
        {"its folder is a redirection",
         [](Line& line) {
             redirect(line.machine.world, L"C:\\Users\\Ana\\AppData\\Roaming\\BrindlerQ3\\main\\updater");
         },
         nullptr},
        {"the line can't be split", [](Line& line) { line.faults.add("CommandLineToArgvW", L"", 5, 2); }, nullptr},
    };
    for (const Report& report : reports) {
        SCOPED_TRACE(report.name);
        Line line;
        line.arguments["foreign"] = L"/VERBOSE";
        report.spoil(line);
        EXPECT_EQ(line.machine.run(line.text()).exit_code, 1);
        if (report.detail == nullptr) {
            EXPECT_EQ(files_beneath(line.machine.world.disk, L"C:\\Users"), Files{});
        } else {
            EXPECT_EQ(
                line.machine.status_text(),
                "{\"jobId\":\"0123456789abcdef0123456789abcdef\",\"state\":\"error\",\"progress\":0,\"detail\":\"" +
                    std::string(report.detail) + "\",\"release\":0,\"pendingFiles\":0}\n");
        }
    }
}

TEST(FinalReport, a_system_exception_before_the_options_are_in_place_keeps_its_text_to_itself) {
    Line line;
    line.faults.add("GetFileAttributesExW", L"init.lua", 5);
    EXPECT_EQ(line.machine.run(line.text()).exit_code, 1);
    EXPECT_EQ(line.machine.status().detail, "Argumentos ou caminho local do atualizador invalidos.");
}

struct Ending {
    const char* name;
    std::function<int(Job&)> run;
    int exit_code;
    Status status;
};

TEST(FinalReport, each_way_to_end_leaves_its_exit_code_and_its_last_document) {
    const std::string job = narrow(kJob);
    const std::vector<Ending> endings{
        {"nothing to do",
         [](Job& machine) {
             machine.install(release_two());
             return machine.run_first().exit_code;
         },
         0,
         {job, "current", 100, "Cliente atualizado.", 2, 0}},
        {"installed",
         [](Job& machine) {
             machine.client_answers("apply");
             return machine.update();
         },
         0,
         {job, "current", 100, "Atualizacao instalada.", 2, 5}},
        {"handed to the copy",
         [](Job& machine) {
             machine.say("apply");
             return machine.run_first().exit_code;
         },
         0,
         {job, "update_available", 0, "Atualizacao disponivel.", 2, 5}},
        {"cancelled",
         [](Job& machine) {
             machine.client_answers("cancel");
             return machine.run_first().exit_code;
         },
         1,
         {job, "cancelled", 0, "Atualizacao cancelada.", 2, 5}},
        {"a failure",
         [](Job& machine) {
             machine.serve_manifest("QMU1");
             return machine.run_first().exit_code;
         },
         1,
         {job, "error", 0, "Manifesto Vandrel invalido.", 0, 0}},
        {"a system exception",
         [](Job& machine) {
             Faults faults(machine.world);
             faults.add("GetFileAttributesExW", L"active.transaction", 5);
             return machine.run_first().exit_code;
         },
         1,
         {job, "error", 0, "Falha local no atualizador. Seus arquivos de recuperacao foram preservados.", 0, 0}},
        {"a last report that can't be written",
         [](Job& machine) {
             Faults faults(machine.world);
             faults.add("CreateMutexW");
             faults.add("CreateFileW", L".status.json", 5, 100, 1);
             return machine.run_first().exit_code;
         },
         1,
         {job, "checking", 0, "Verificando atualizacoes...", 0, 0}},
    };
    for (const Ending& ending : endings) {
        SCOPED_TRACE(ending.name);
        Job machine;
        EXPECT_EQ(ending.run(machine), ending.exit_code);
        EXPECT_EQ(machine.status(), ending.status) << machine.status_text();
    }
}

TEST(FinalReport, an_ordinary_status_that_fails_is_reported_by_one_more_try) {
    Job machine;
    Faults faults(machine.world);
    faults.add("CreateFileW", L".status.json");
    EXPECT_EQ(machine.run_first().exit_code, 1);
    EXPECT_EQ(machine.detail(), faults.text_after(L"Criar arquivo temporario"));
}

}  // namespace
}  // namespace support
