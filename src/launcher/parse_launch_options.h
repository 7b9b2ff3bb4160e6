// The command line, validated: what the helper believes of it, and what every status path must look like.
#pragma once

#include <memory>
#include <string>

#include "run/launch_options.h"

namespace vandrel {

// Reads and validates the process's command line: each check in its order, the first that fails throws its Failure.
// Changes nothing on disk. Failure, in this order:
//   "Argumentos invalidos."                     the platform can't split the line
//   "Argumento repetido.", "Argumento desconhecido."
//   "Este auxiliar deve ser iniciado pela interface Vandrel."   no /CHECK
//   "Auxiliar x64 requer canal 64."             /ARCH isn't "64"
//   "Backend invalido."                         /CLIENT isn't one of this channel's two executables, case included
//   "Identificador de atualizacao invalido."    /JOB isn't 32 hexadecimal digits
//   "Destino de status invalido."               see is_status_path_of_job
//   "AppData indisponivel.", "Status fora do perfil BrindlerQ3.", "Perfil com redirecionamento recusado."
//   "PID invalido.", "PID fora do limite.", "PID do cliente obrigatorio."
//   "Nao foi possivel identificar o atualizador."   where the folder is the executable's own
//   "Pasta do cliente invalida.", "Pasta sem cliente Vandrel completo.", "Executavel redirecionado recusado."
//   "ROOT reservado ao auxiliar temporario.", "TEMP indisponivel.", "Auxiliar temporario fora do diretorio esperado."
// or a std::system_error ("absolute", "status").
LaunchOptions parse_launch_options();

// The record that a run works with: a copy of `parsed` whose `release` and `file_count` are 0, and whose status file's
// folder exists. Throws what ensure_safe_directory throws; what that made stays.
std::unique_ptr<LaunchOptions> begin_run(const LaunchOptions& parsed);

// What a status path must look like, by itself: absolute, named "<job>.status.json", in a folder "updater".
bool is_status_path_of_job(const std::wstring& status_path, const std::wstring& job_id);

// Whether the status path stands at <roaming>\BrindlerQ3\<one folder>\updater\<file>. The folder is a name: neither "."
// nor "..". The std::system_error "absolute" of same_folder.
bool is_in_profile(const std::wstring& status_path, const std::wstring& roaming);

// The user's roaming application data folder; false if the system has none.
bool find_roaming_folder(std::wstring& roaming);

}  // namespace vandrel
