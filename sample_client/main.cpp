// The sample client: a stand-in for a game client that keeps itself up to date with the help of "Vandrel Updater.exe".
// It is the reference for whoever integrates the helper; docs/integrating.md tells the same in words.

#include <windows.h>

#include <shellapi.h>

#include <exception>

#include "client_options.h"
#include "console.h"
#include "exit_codes.h"
#include "profile.h"
#include "text.h"
#include "update_session.h"

namespace sample_client {
namespace {

std::vector<std::wstring> command_line_arguments() {
    int count = 0;
    wchar_t** texts = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::wstring> arguments(texts + 1, texts + count);
    LocalFree(texts);
    return arguments;
}

ExitCode run(const ClientOptions& options) {
    print_line("client started, pid " + std::to_string(GetCurrentProcessId()));
    const Profile profile = open_profile(options.profile);
    const bool started_by_helper = options.plain_start && !job_of_restart().empty();
    note_start(profile, options.recovered);
    if (options.recovered) print_line("the last update did not go through; the earlier files are in place");
    // A client that has just been updated or put back goes on with its work. A real one would now show its game.
    if (started_by_helper || options.recovered) return kHandedOver;
    if (options.no_update) {
        Sleep(options.linger_ms);
        return kHandedOver;
    }
    const JobFiles files = job_files(profile, options.job);
    remember_job_for_restart(profile, files);
    print_line("update job " + to_utf8(files.job));
    return UpdateSession(options, files).follow();
}

}  // namespace
}  // namespace sample_client

int main() {
    using namespace sample_client;
    prepare_console();
    try {
        return run(parse_client_options(command_line_arguments()));
    } catch (const UsageError& error) {
        print_line(error.what());
        return kBadUsage;
    } catch (const std::exception& error) {
        print_line(error.what());
        return kHelperMissing;
    }
}
