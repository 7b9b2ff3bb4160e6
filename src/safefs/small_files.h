// Small files whole: a read that is bounded before it allocates, and a write that is old or new and nothing between.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "base/bytes.h"

namespace vandrel {

// The file's whole content, at most `limit` bytes (exactly `limit` passes). The file is opened sharing everything: a
// reader never stands in the way of a writer. Throws Failure:
//   "Caminho com redirecionamento recusado."  a reparse point on the way; nothing is opened
//   "Abrir arquivo (N)..."                    the open failed with error N
//   "Arquivo excede o limite permitido."      too large, or its size is not to be had; nothing is allocated
//   "Arquivo incompleto."                     the one read failed or fell short
Bytes read_file_bounded(const std::wstring& path, std::uint64_t limit);

// A file's content in pieces that stand one behind the other. Each that isn't empty is one write.
using Pieces = std::span<const std::span<const std::uint8_t>>;

// Puts `content` at `destination`, a path under the folder `root`: a temporary sibling is written, flushed and closed,
// then takes the name by one write-through step, tried up to 20 times, 25 ms apart, while errors 32 or 5 say that the
// destination is busy. When this returns, the content is durable under that name. On failure the destination is what
// it was (promote_part knows the one exception) and the temporary file is gone. Power cut: the destination is wholly
// old or wholly new; a temporary file may stay beside it. Throws Failure:
//   the refusals of validate_download_destination (nothing created yet)
//   "Criar arquivo temporario (N)...", "Falha ao gravar arquivo temporario.",
//   "Sincronizar arquivo (N)..." with N the last error from before the flush,
//   the message of promote_part's last attempt (safefs/partial_files.h)
void write_file_atomic(const std::wstring& root, const std::wstring& destination, Pieces content);

}  // namespace vandrel
