#include "launcher/parse_launch_options.h"

#include <windows.h>

#include <shlobj.h>

#include <algorithm>

#include "base/failure.h"
#include "launcher/command_line.h"
#include "launcher/temporary_helper.h"
#include "run/executables.h"
#include "run/places.h"
#include "safefs/file_system.h"
#include "safefs/path_guards.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"

namespace vandrel {

namespace {

constexpr std::size_t kMostPidDigits = 10;
constexpr std::uint64_t kLargestPid = 4294967295;

// A missing switch reads as an empty value, and fails that value's check.
std::wstring value_of(const Switches& switches, const wchar_t* key) {
    const auto found = switches.find(key);
    return found == switches.end() ? std::wstring() : found->second;
}

void read_identity(const Switches& switches, LaunchOptions& options) {
    require(switches.contains(L"/check"), L"Este auxiliar deve ser iniciado pela interface Vandrel.");
    options.arch = value_of(switches, L"/arch");
    options.job_id = fold_case(value_of(switches, L"/job"));
    options.client_executable = value_of(switches, L"/client");
    require(options.arch == L"64", L"Auxiliar x64 requer canal 64.");
    require(is_client_executable(options.client_executable, options.arch), L"Backend invalido.");
    require(is_job_identifier(options.job_id), L"Identificador de atualizacao invalido.");
}

void read_status_path(const Switches& switches, LaunchOptions& options) {
    options.status_path = value_of(switches, L"/status");
    require(is_status_path_of_job(options.status_path, options.job_id), L"Destino de status invalido.");
    std::wstring roaming;
    require(find_roaming_folder(roaming), L"AppData indisponivel.");
    require(is_in_profile(options.status_path, roaming), L"Status fora do perfil BrindlerQ3.");
    const std::wstring folder = parent_path(options.status_path);
    require(path_prefixes_free_of_reparse(folder), L"Perfil com redirecionamento recusado.");
    options.command_path = join(folder, options.job_id + kCommandEnding);
}

void read_client_pid(const Switches& switches, LaunchOptions& options) {
    const std::wstring digits = value_of(switches, L"/waitpid");
    const bool is_number = !digits.empty() && digits.size() <= kMostPidDigits &&
                           std::ranges::all_of(digits, [](wchar_t unit) { return unit >= L'0' && unit <= L'9'; });
    require(is_number, L"PID invalido.");
    const std::uint64_t pid = std::stoull(digits);
    require(pid <= kLargestPid, L"PID fora do limite.");
    options.client_pid = static_cast<std::uint32_t>(pid);
    require(pid != 0 || options.client_pid_optional, L"PID do cliente obrigatorio.");
}

void read_client_root(const Switches& switches, LaunchOptions& options) {
    options.relocated = switches.contains(L"/relocated");
    options.client_root = options.relocated ? value_of(switches, L"/root") : parent_path(own_executable_path());
    const bool usable = is_absolute(options.client_root) && path_prefixes_free_of_reparse(options.client_root) &&
                        is_directory(options.client_root);
    require(usable, L"Pasta do cliente invalida.");
    options.client_root = lexically_normal(absolute(options.client_root));
    const std::wstring executable = join(options.client_root, options.client_executable);
    const bool complete = is_regular_file(executable) && is_regular_file(join(options.client_root, kStartScript)) &&
                          is_directory(join(options.client_root, kModulesFolder)) &&
                          is_directory(join(options.client_root, kDataFolder));
    require(complete, L"Pasta sem cliente Vandrel completo.");
    require(path_prefixes_free_of_reparse(executable), L"Executavel redirecionado recusado.");
}

void check_place(const Switches& switches, const LaunchOptions& options) {
    if (!options.relocated) {
        require(!switches.contains(L"/root"), L"ROOT reservado ao auxiliar temporario.");
        return;
    }
    std::wstring temporary;
    require(find_temporary_folder(temporary), L"TEMP indisponivel.");
    require(same_folder(own_executable_path(), temporary_helper_path(temporary, options.job_id)),
            L"Auxiliar temporario fora do diretorio esperado.");
}

}  // namespace

LaunchOptions parse_launch_options() {
    std::vector<std::wstring> arguments;
    require(read_arguments(arguments), L"Argumentos invalidos.");
    const Switches switches = read_switches(arguments);
    LaunchOptions options;
    read_identity(switches, options);
    read_status_path(switches, options);
    read_client_pid(switches, options);
    read_client_root(switches, options);
    check_place(switches, options);
    return options;
}

std::unique_ptr<LaunchOptions> begin_run(const LaunchOptions& parsed) {
    auto options = std::make_unique<LaunchOptions>(parsed);
    options->release = 0;
    options->file_count = 0;
    ensure_safe_directory(parent_path(options->status_path));
    return options;
}

bool is_status_path_of_job(const std::wstring& status_path, const std::wstring& job_id) {
    return is_absolute(status_path) && file_name(status_path) == job_id + kStatusEnding &&
           file_name(parent_path(status_path)) == kUpdaterFolder;
}

bool is_in_profile(const std::wstring& status_path, const std::wstring& roaming) {
    const std::wstring profile = parent_path(parent_path(status_path));
    const std::wstring_view name = file_name(profile);
    if (name == L"." || name == L"..") return false;
    return same_folder(parent_path(profile), join(roaming, kProfilesFolder));
}

bool find_roaming_folder(std::wstring& roaming) {
    wchar_t folder[MAX_PATH] = {};
    if (SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, 0, folder) < 0) return false;
    roaming = folder;
    return true;
}

}  // namespace vandrel
