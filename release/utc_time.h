// Moments as publishers read them.
#pragma once

#include <cstdint>
#include <string>

namespace vandrel_release {

// "2026-01-31T12:00:00Z", of seconds since 1970.
std::string utc_time(std::int64_t seconds);

}  // namespace vandrel_release
