// The programs that the helper starts.
#pragma once

#include <string>

#include "run/launch_options.h"

namespace vandrel {

// One argument in quotes, such that the platform's splitting gives `text` back unchanged.
std::wstring quote_argument(const std::wstring& text);

// Starts a program and lets go of it. `arguments` follow the quoted executable as they stand. Failure
// "Iniciar processo (N)..." with N the last error from before the call.
void launch_process(const std::wstring& executable, const std::wstring& arguments, const std::wstring& working_folder,
                    bool hidden);

// Starts the client in its folder; `recovered` tells it that this follows a failure or a restoration.
void relaunch_client(const LaunchOptions& options, bool recovered);

}  // namespace vandrel
