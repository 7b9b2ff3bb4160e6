// The command file: the one way to hear the client. The helper only ever reads it.
#pragma once

#include <string>

#include "run/launch_options.h"

namespace vandrel {

inline constexpr std::uint64_t kCommandSizeLimit = 4096;  // bytes, inclusive
inline constexpr const wchar_t* kApply = L"apply";
inline constexpr const wchar_t* kCancel = L"cancel";

// "apply", "cancel", or empty: no command to act on. Everything short of a complete, exact document of this job is no
// command, a half-written one included, so that the client may write the file in place. Throws only
// std::system_error "exists".
std::wstring read_command(const LaunchOptions& options);

bool is_cancel_requested(const LaunchOptions& options);

}  // namespace vandrel
