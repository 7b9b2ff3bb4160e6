// The sample client: a stand-in for a game client that keeps itself up to date with the help of "Vandrel Updater.exe".
// It is the first user of vandrel_client.h, and shows it at work; docs/integrating.md tells the same in words.

#include <windows.h>

#include <shellapi.h>

#include "client_options.h"
#include "console.h"
#include "exit_codes.h"
#include "start_log.h"
#include "update_session.h"

namespace sample_client {
namespace {

constexpr const char* kDefaultProfile = "sample";

std::vector<std::wstring> command_line_arguments() {
    int count = 0;
    wchar_t** texts = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> arguments(texts + 1, texts + count);
    LocalFree(texts);
    return arguments;
}

// Which files are in place, the reason alone tells: as a rule the earlier ones, but the new ones when it was only the
// client's start that failed.
std::string tell_failure(vandrel_update* last_job) {
    vandrel_status status{};
    const bool is_known = last_job != nullptr && wait_for_last_word(last_job, status);
    const std::string reason = is_known ? detail_line(status) : "unknown";
    print_line("the last update did not go through: " + reason);
    return reason;
}

ExitCode check_for_update(const ClientOptions& options, const std::string& profile) {
    const vandrel_start_options start{profile.c_str(), options.job.empty() ? nullptr : options.job.c_str(),
                                      options.patience_ms, options.no_group ? 1 : 0};
    vandrel_update* started = nullptr;
    const vandrel_result result = vandrel_start(&start, &started);
    const DWORD reason = GetLastError();
    if (result != VANDREL_OK) {
        print_line(std::string(vandrel_result_text(result)) + " (" + std::to_string(reason) + ")");
        return kHelperMissing;
    }
    const Update update(started);
    print_line(std::string("update job ") + vandrel_job(update.get()));
    return UpdateSession(options, update.get()).follow();
}

ExitCode run(const ClientOptions& options) {
    print_line("client started, pid " + std::to_string(GetCurrentProcessId()));
    vandrel_update* attached = nullptr;
    vandrel_attach(&attached);
    const Update last_job(attached);
    const std::string inherited = last_job ? vandrel_profile(last_job.get()) : kDefaultProfile;
    const std::string profile = options.profile.empty() ? inherited : options.profile;
    const std::string reason = options.recovered ? tell_failure(last_job.get()) : std::string();
    note_start(profile, last_job ? vandrel_job(last_job.get()) : "", options.recovered, reason);
    // A client that has just been updated or put back goes on with its work. A real one would now show its game.
    if (options.recovered || (options.plain_start && last_job)) return kHandedOver;
    if (options.no_update) {
        Sleep(options.linger_ms);
        return kHandedOver;
    }
    return check_for_update(options, profile);
}

}  // namespace
}  // namespace sample_client

int main() {
    using namespace sample_client;
    prepare_console();
    int code = kBadUsage;
    try {
        code = run(parse_client_options(command_line_arguments()));
    } catch (const UsageError& error) {
        print_line(error.what());
    }
    ExitProcess(static_cast<UINT>(code));  // whoever still waits for the player's answer
}
