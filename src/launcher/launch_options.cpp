#include "launcher/launch_options.h"

#include <windows.h>

#include <shlobj.h>

#include <algorithm>
#include <array>

#include "base/failure.h"
#include "build_config.h"
#include "launcher/command_line.h"
#include "launcher/temporary_helper.h"
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
    const std::wstring suffix(executable_suffix(options.arch));
    const bool known_backend =
        options.client_executable == L"brindler_dx" + suffix || options.client_executable == L"brindler_gl" + suffix;
    require(known_backend, L"Backend invalido.");
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
    options.command_path = join(folder, options.job_id + L".command.json");
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
    const bool complete = is_regular_file(executable) && is_regular_file(join(options.client_root, L"init.lua")) &&
                          is_directory(join(options.client_root, L"modules")) &&
                          is_directory(join(options.client_root, L"data"));
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

LaunchOptions::LaunchOptions() : update_url(kUpdateUrl) {}

LaunchOptions::LaunchOptions(const LaunchOptions& other)
    : arch(other.arch),
      job_id(other.job_id),
      client_executable(other.client_executable),
      status_path(other.status_path),
      command_path(other.command_path),
      client_root(other.client_root),
      client_pid(other.client_pid),
      relocated(other.relocated),
      update_url(other.update_url),
      client_pid_optional(other.client_pid_optional) {
    ensure_safe_directory(parent_path(status_path));
}

std::wstring_view executable_suffix(std::wstring_view arch) {
    return arch == L"64" ? L"_x64.exe" : L"_x86.exe";
}

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

bool is_status_path_of_job(const std::wstring& status_path, const std::wstring& job_id) {
    return is_absolute(status_path) && file_name(status_path) == job_id + L".status.json" &&
           file_name(parent_path(status_path)) == L"updater";
}

bool is_in_profile(const std::wstring& status_path, const std::wstring& roaming) {
    const std::wstring profile = parent_path(parent_path(status_path));
    const std::wstring_view name = file_name(profile);
    if (name == L"." || name == L"..") return false;
    return same_folder(parent_path(profile), join(roaming, L"BrindlerQ3"));
}

bool find_roaming_folder(std::wstring& roaming) {
    wchar_t folder[MAX_PATH] = {};
    if (SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, 0, folder) < 0) return false;
    roaming = folder;
    return true;
}

}  // namespace vandrel
