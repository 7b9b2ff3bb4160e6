#include "launcher/parse_launch_options.h"
#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

const std::wstring kRoaming = L"C:\\Users\\Ana\\AppData\\Roaming";
const std::wstring kStatusFile = std::wstring(L"\\") + kJob + L".status.json";

std::wstring refusal_of(Line& line) {
    line.machine.world.set_program(line.image, line.text());
    return refusal(line.machine.world, [] { vandrel::parse_launch_options(); });
}

enum class Of { both, first, copy };

struct Fault {
    Of of;
    const char* slot;  // faults of one slot exclude each other
    const wchar_t* message;
    Spoil spoil;
};

// In the order in which they are found.
const std::vector<Fault> kFaults{
    {Of::both, "argv", L"Argumentos invalidos.", refused("CommandLineToArgvW")},
    {Of::both, "twice", L"Argumento repetido.", argument("twice", L"/cLIENT=x")},
    {Of::both, "foreign", L"Argumento desconhecido.", argument("foreign", L"/VERBOSE")},
    {Of::both, "check", L"Este auxiliar deve ser iniciado pela interface Vandrel.", without("check")},
    {Of::both, "arch", L"Auxiliar x64 requer canal 64.", argument("arch", L"/ARCH=32")},
    {Of::both, "client", L"Backend invalido.", argument("client", L"/CLIENT=brindler_dx_x86.exe")},
    {Of::both, "job", L"Identificador de atualizacao invalido.", argument("job", L"/JOB=0123")},
    {Of::both, "status", L"Destino de status invalido.", argument("status", L"/STATUS=status.json")},
    {Of::both, "roaming", L"AppData indisponivel.", refused("SHGetFolderPathW")},
    {Of::both, "status", L"Status fora do perfil BrindlerQ3.",
     argument("status", L"/STATUS=C:\\x\\y\\updater\\0123456789abcdef0123456789abcdef.status.json")},
    {Of::both, "profile", L"Perfil com redirecionamento recusado.",
     meeting(junction(L"C:\\Users\\Ana\\AppData\\Roaming\\BrindlerQ3\\main"))},
    {Of::both, "waitpid", L"PID invalido.", argument("waitpid", L"/WAITPID=1x")},
    {Of::both, "waitpid", L"PID fora do limite.", argument("waitpid", L"/WAITPID=4294967296")},
    {Of::both, "waitpid", L"PID do cliente obrigatorio.", argument("waitpid", L"/WAITPID=0")},
    {Of::first, "module", L"Nao foi possivel identificar o atualizador.", refused("GetModuleFileNameW")},
    {Of::both, "folder", L"Pasta do cliente invalida.", meeting(junction(L"C:\\Game"))},
    {Of::copy, "root", L"Pasta do cliente invalida.", argument("root", L"/ROOT=Game")},
    {Of::both, "folder", L"Pasta sem cliente Vandrel completo.", meeting(gone(L"C:\\Game\\init.lua"))},
    {Of::both, "link", L"Executavel redirecionado recusado.", refused("GetFileAttributesW", kClient)},
    {Of::copy, "temporary", L"TEMP indisponivel.", refused("GetTempPathW")},
    {Of::copy, "module", L"Nao foi possivel identificar o atualizador.", refused("GetModuleFileNameW")},
    {Of::copy, "place", L"Auxiliar temporario fora do diretorio esperado.",
     [](Line& line) { line.image = L"C:\\Users\\Ana\\Vandrel Updater.exe"; }},
    {Of::first, "root", L"ROOT reservado ao auxiliar temporario.", argument("root", L"/ROOT=C:\\Game")},
};

TEST(CommandLine, of_two_faults_the_earlier_check_is_reported) {
    for (const bool copy : {false, true}) {
        const auto applies = [&](const Fault& fault) { return fault.of == Of::both || (fault.of == Of::copy) == copy; };
        for (std::size_t i = 0; i < kFaults.size(); ++i) {
            for (std::size_t j = i; j < kFaults.size(); ++j) {
                const bool exclusive = j != i && std::string(kFaults[i].slot) == kFaults[j].slot;
                if (!applies(kFaults[i]) || !applies(kFaults[j]) || exclusive) continue;
                Line line(copy);
                kFaults[i].spoil(line);
                if (j != i) kFaults[j].spoil(line);
                EXPECT_EQ(refusal_of(line), kFaults[i].message) << "and " << narrow(kFaults[j].message);
            }
        }
    }
}

struct Value {
    const char* slot;
    std::wstring argument;  // empty: the switch is missing
    const wchar_t* message;
};

const std::wstring kStatus = L"/STATUS=" + kRoaming + L"\\BrindlerQ3";
const std::vector<Value> kValues{
    {"check", L"/cHeCk=anything", L""},
    {"check", L"/CHEC\u212A", L"Argumento desconhecido."},  // the Kelvin sign is no k
    {"extra", L"", L"Argumento desconhecido."},
    {"extra", L"=", L"Argumento desconhecido."},
    {"extra", L"/RELOCATED", L"Pasta do cliente invalida."},  // there is no /ROOT
    {"arch", L"", L"Auxiliar x64 requer canal 64."},
    {"arch", L"/ARCH=64 ", L"Auxiliar x64 requer canal 64."},
    {"client", L"/client=brindler_gl_x64.exe", L""},
    {"client", L"/CLIENT=Brindler_dx_x64.exe", L"Backend invalido."},
    {"job", L"/JOB=" + kUpperJob, L""},
    {"job", L"/JOB=" + kUpperJob.substr(1), L"Identificador de atualizacao invalido."},
    {"job", L"/JOB=" + kUpperJob + L"0", L"Identificador de atualizacao invalido."},
    {"status", L"/STATUS=C:/Users/Ana/AppData/Roaming/brindlerq3/other/updater/" + kStatusFile.substr(1), L""},
    {"status", kStatus + L"\\a=b=c\\updater" + kStatusFile, L""},
    {"status", L"/STATUS=AppData\\Roaming\\BrindlerQ3\\main\\updater" + kStatusFile, L"Destino de status invalido."},
    {"status", L"/STATUS=C:" + kStatusFile.substr(1), L"Destino de status invalido."},
    {"status", kStatus + L"\\main\\Updater" + kStatusFile, L"Destino de status invalido."},
    {"status", kStatus + L"\\main\\updater\\" + kUpperJob + L".status.json", L"Destino de status invalido."},
    {"status", kStatus + L"\\updater" + kStatusFile, L"Status fora do perfil BrindlerQ3."},
    {"status", kStatus + L"\\a\\b\\updater" + kStatusFile, L"Status fora do perfil BrindlerQ3."},
    {"status", kStatus + L"\\.\\updater" + kStatusFile, L"Status fora do perfil BrindlerQ3."},
    {"status", kStatus + L"\\..\\updater" + kStatusFile, L"Status fora do perfil BrindlerQ3."},
    {"status", L"/STATUS=\\\\server\\main\\updater" + kStatusFile, L"Status fora do perfil BrindlerQ3."},
    {"waitpid", L"", L"PID invalido."},
    {"waitpid", L"/WAITPID=0000000001", L""},
    {"waitpid", L"/WAITPID=4294967295", L""},
    {"waitpid", L"/WAITPID=00000000000", L"PID invalido."},
};

TEST(CommandLine, each_value_is_held_against_its_rule) {
    std::vector<Value> values = kValues;
    // Just outside the digits and the letters, and what would lead elsewhere as a folder's name.
    for (const wchar_t unit : std::wstring(L"/:@G`g\\.+ ")) {
        values.push_back({"job", L"/JOB=" + kUpperJob.substr(1) + unit, L"Identificador de atualizacao invalido."});
        values.push_back({"waitpid", L"/WAITPID=1" + std::wstring(1, unit), L"PID invalido."});
    }
    for (const Value& value : values) {
        Line line;
        line.arguments[value.slot] = value.argument;
        if (value.argument.empty() && line.arguments.size() == 6) line.arguments.erase(value.slot);
        EXPECT_EQ(refusal_of(line), value.message) << value.slot << " " << narrow(value.argument);
    }
}

struct Place {
    const char* name;
    Spoil arrange;
    const wchar_t* message;
};

const std::vector<Place> kPlaces{
    {"the folder seen from the current one", argument("root", L"/ROOT=..\\..\\Game"), L"Pasta do cliente invalida."},
    {"a folder that isn't there", argument("root", L"/ROOT=C:\\Nowhere"), L"Pasta do cliente invalida."},
    {"a file", argument("root", L"/ROOT=C:\\Game\\init.lua"), L"Pasta do cliente invalida."},
    {"no client", meeting(gone(L"C:\\Game\\brindler_dx_x64.exe")), L"Pasta sem cliente Vandrel completo."},
    {"no modules", meeting(gone(L"C:\\Game\\modules")), L"Pasta sem cliente Vandrel completo."},
    {"no data", meeting(gone(L"C:\\Game\\data")), L"Pasta sem cliente Vandrel completo."},
    {"no other backend", meeting(gone(L"C:\\Game\\brindler_gl_x64.exe")), L""},
    // What counts as a folder follows links; the guards refuse them, where something is written.
    {"linked modules", meeting(junction(L"C:\\Game\\modules")), L""},
    {"a file not to be looked at", refused("GetFileAttributesExW", L"init.lua"), L"[status]"},
    {"a status file that is a link", [](Line& line) { redirect(line.machine.world, line.machine.status_path()); }, L""},
    {"a roaming folder with a warning", warned, L"Status fora do perfil BrindlerQ3."},
    {"a temporary folder of 8000 units",
     [](Line& line) {
         line.machine.world.temporary = L"C:\\" + std::wstring(8000, L't') + L"\\";
         line.image = line.machine.world.temporary + L"VandrelUpdater\\" + kJob + kCopyName;
     },
     L""},
};

TEST(CommandLine, each_place_is_held_against_its_rule) {
    for (const Place& place : kPlaces) {
        Line line(true);
        place.arrange(line);
        EXPECT_EQ(refusal_of(line), place.message) << place.name;
    }
}

TEST(CommandLine, a_good_line_becomes_the_record_and_only_its_copy_makes_the_status_folder) {
    Line line(true);
    line.arguments["job"] = L"/JOB=" + kUpperJob;
    line.arguments["root"] = L"/ROOT=C:/Game/data\\..\\.";
    line.arguments["waitpid"] = L"/WAITPID=0004294967";
    winsim::World& world = line.machine.world;
    world.set_program(line.image, line.text());
    const winsim::World::Guard guard(world);
    vandrel::LaunchOptions parsed = vandrel::parse_launch_options();
    EXPECT_EQ(parsed.job_id, kJob);
    EXPECT_EQ(parsed.client_executable, L"brindler_dx_x64.exe");
    EXPECT_EQ(parsed.status_path, line.machine.status_path());
    EXPECT_EQ(parsed.command_path, line.machine.command_path());
    EXPECT_EQ(parsed.client_root, L"C:\\Game");
    EXPECT_EQ(parsed.client_pid, 4294967U);
    EXPECT_TRUE(parsed.relocated);
    EXPECT_EQ(parsed.update_url, L"https://updates.example/client-brd/updater.php");
    EXPECT_FALSE(world.disk.exists(kRoaming + L"\\BrindlerQ3"));

    parsed.release = 7;
    parsed.file_count = 9;
    const auto run = vandrel::begin_run(parsed);
    EXPECT_TRUE(world.disk.is_folder(kRoaming + L"\\BrindlerQ3\\main\\updater"));
    EXPECT_EQ(run->release, 0U);
    EXPECT_EQ(run->file_count, 0U);
}

}  // namespace
}  // namespace support
