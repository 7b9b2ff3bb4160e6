#include "launcher/entry.h"

#include <exception>
#include <memory>

#include "base/failure.h"
#include "launcher/final_report.h"
#include "launcher/launch_options.h"
#include "launcher/update_run.h"

namespace vandrel {

int run_helper() {
    std::unique_ptr<LaunchOptions> options;
    try {
        const LaunchOptions parsed = parse_launch_options();
        options = std::make_unique<LaunchOptions>(parsed);
        return run_update(*options);
    } catch (const Failure& failure) {
        report_failure(options.get(), failure.message);
    } catch (const std::exception&) {
        report_exception(options.get());
    }
    return 1;
}

}  // namespace vandrel
