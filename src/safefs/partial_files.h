// Partial files: how they are named, swept up, and promoted to the file that they were written for.
//
// A partial file lies beside its destination and is named "<file>.qmpart-<pid>-<16 hex digits>.part".
#pragma once

#include <cstdint>
#include <string>

namespace qm_streaming {

// The path of a new partial file of `destination`. Nothing is created or looked for: whoever creates it does so with
// CREATE_NEW. Where the system has no random bytes, the clock and the process serve.
std::wstring make_part_path(const std::wstring& destination);

// Deletes the partial files of this one destination whose last write is at least `age_ms` old, adding their number to
// `stale_parts_removed`; one that has vanished meanwhile counts. Folders and reparse points stay. Any failure just ends
// the sweep. Not flushed.
void remove_stale_parts(const std::wstring& destination, std::uint32_t age_ms, std::uint32_t& stale_parts_removed);

// Makes a finished partial file the file at `destination`, by one write-through rename.
// The part is closed and flushed, and lies in the destination's folder.
// True: the destination is the new file, durable; the part's name is gone.
// False: the part still stands, and the destination is what it was; only after error 1176 it may be gone, as Windows
// documents for a replacement without a backup name. `error` is a refusal of validate_download_destination,
// "Arquivo parcial deixou de ser regular antes da promocao.", "Falha ao inspecionar destino (Windows N)" or
// "Falha na promocao atomica (Windows N)"; it is left as it came when the part lies elsewhere or behind a reparse
// point. The last error is that of the failed rename.
// Power cut: the destination is wholly old or wholly new.
bool promote_part(const std::wstring& allowed_root, const std::wstring& part, const std::wstring& destination,
                  std::wstring& error);

}  // namespace qm_streaming
