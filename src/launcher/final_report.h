// The last word to the client when a failure has reached the entry. Nothing here throws; a report that can't be written
// changes nothing.
#pragma once

#include <string>
#include <string_view>

#include "run/launch_options.h"

namespace vandrel {

// `options` is null while the launch options aren't in place.

// "cancelled" with "Atualizacao cancelada." for the message "cancelled", else "error" with the message.
void report_failure(const LaunchOptions* options, const std::wstring& message);

// For an exception that isn't a Failure: "Falha local no atualizador. Seus arquivos de recuperacao foram preservados.",
// or, without options, "Argumentos ou caminho local do atualizador invalidos.".
void report_exception(const LaunchOptions* options);

// Writes "error" with `message` to the status path on the command line, if that is beyond doubt a status path of this
// client: one /JOB=, one /STATUS=, and every rule of the path. Otherwise nothing.
void report_failure_best_effort(std::wstring_view message);

}  // namespace vandrel
