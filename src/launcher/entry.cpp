#include "launcher/entry.h"

#include <windows.h>

#include <exception>
#include <memory>

#include "base/failure.h"
#include "launcher/final_report.h"
#include "launcher/parse_launch_options.h"
#include "launcher/update_run.h"
#include "manifest/digests.h"

namespace vandrel {

namespace {

// No dialog of the system either: an empty or vanished drive is a failed call, and a crash just ends the process. Set
// for this thread, the only one, and not for the process: the client that the helper starts would inherit that.
void forbid_dialogs() {
    SetThreadErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX, nullptr);
}

// Libraries come from the system's folder alone: beside the executable, in the client's folder and in the temporary
// one, any program of this user may have put a file of the same name. Those that the helper names are loaded at their
// first use, and so behind this call; what they load in turn is searched in the same way.
void refuse_planted_libraries() {
    SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
}

// What the run has kept for its digests goes with it.
struct DigestBufferRelease {
    ~DigestBufferRelease() { release_digest_buffer(); }
};

}  // namespace

int run_helper() {
    forbid_dialogs();
    refuse_planted_libraries();
    const DigestBufferRelease release;
    std::unique_ptr<LaunchOptions> options;
    try {
        const LaunchOptions parsed = parse_launch_options();
        options = begin_run(parsed);
        return run_update(*options);
    } catch (const Failure& failure) {
        report_failure(options.get(), failure.message);
    } catch (const std::exception&) {
        report_exception(options.get());
    }
    return 1;
}

}  // namespace vandrel
