#include "release/utc_time.h"

#include <ctime>

namespace vandrel_release {

std::string utc_time(std::int64_t seconds) {
    const std::time_t time = seconds;
    std::tm parts{};
    char text[32] = "";
    ::gmtime_r(&time, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

}  // namespace vandrel_release
