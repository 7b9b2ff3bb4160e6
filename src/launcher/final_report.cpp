#include "launcher/final_report.h"

#include <string_view>
#include <vector>

#include "base/failure.h"
#include "handshake/status_file.h"
#include "launcher/command_line.h"
#include "launcher/parse_launch_options.h"
#include "safefs/path_guards.h"
#include "safefs/text_encoding.h"
#include "safefs/windows_path.h"

namespace vandrel {

namespace {

// Takes views: where memory is short, copying the texts must fail in here.
void write_quietly(const LaunchOptions& options, std::wstring_view state, std::wstring_view detail) {
    try {
        write_status(options, std::wstring(state), 0, std::wstring(detail));
    } catch (...) {  // the earlier status stands
    }
}

// Takes /JOB= and /STATUS= and nothing else. False unless each is there exactly once.
bool read_job_and_status(const std::vector<std::wstring>& arguments, LaunchOptions& options) {
    int jobs = 0;
    int statuses = 0;
    for (const std::wstring& argument : arguments) {
        if (argument.find(L'=') == std::wstring::npos) continue;
        const Switch found = split_switch(argument);
        if (found.key == L"/job") {
            options.job_id = fold_case(found.value);
            ++jobs;
        } else if (found.key == L"/status") {
            options.status_path = found.value;
            ++statuses;
        }
    }
    return jobs == 1 && statuses == 1;
}

void report_on_command_line(std::wstring_view message) {
    std::vector<std::wstring> arguments;
    if (!read_arguments(arguments)) return;
    LaunchOptions parsed;
    if (!read_job_and_status(arguments, parsed) || !is_job_identifier(parsed.job_id)) return;
    if (!is_status_path_of_job(parsed.status_path, parsed.job_id)) return;
    std::wstring roaming;
    if (!find_roaming_folder(roaming) || !is_in_profile(parsed.status_path, roaming)) return;
    // The file itself, not just its folder: nothing else has vouched for this path.
    if (!path_prefixes_free_of_reparse(parsed.status_path)) return;
    write_status(*begin_run(parsed), L"error", 0, std::wstring(message));
}

}  // namespace

void report_failure(const LaunchOptions* options, const std::wstring& message) {
    if (options == nullptr) {
        report_failure_best_effort(message);
    } else if (message == kCancelled) {
        write_quietly(*options, L"cancelled", L"Atualizacao cancelada.");
    } else {
        write_quietly(*options, L"error", message);
    }
}

void report_exception(const LaunchOptions* options) {
    if (options == nullptr) {
        report_failure_best_effort(L"Argumentos ou caminho local do atualizador invalidos.");
    } else {
        write_quietly(*options, L"error",
                      L"Falha local no atualizador. Seus arquivos de recuperacao foram preservados.");
    }
}

void report_failure_best_effort(std::wstring_view message) {
    try {
        report_on_command_line(message);
    } catch (...) {  // then the exit code says it alone
    }
}

}  // namespace vandrel
