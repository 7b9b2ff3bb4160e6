#include "run/launch_options.h"

#include "build_config.h"

namespace vandrel {

LaunchOptions::LaunchOptions() : update_url(kUpdateUrl) {}

}  // namespace vandrel
