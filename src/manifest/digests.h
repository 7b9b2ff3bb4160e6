// SHA-256 of buffers and files, and the small texts that rest on it. Nothing here throws its own but folder_key.
#pragma once

#include <cstdint>
#include <string>

#include "base/bytes.h"
#include "manifest/manifest.h"

namespace vandrel {

bool sha256_of_bytes(const std::uint8_t* data, std::uint64_t size, Digest& digest);

// Streams the file through a buffer of 1 MiB, which is made and zeroed by the first call of a run; other readers are
// admitted, no writer. On false `error` is one of
//   "Falha ao iniciar SHA-256."
//   "Falha ao preparar SHA-256."
//   "Falha ao criar SHA-256."
//   "Falha ao abrir arquivo para verificacao (N)..."
//   "Falha ao ler arquivo para verificacao (N)..."
//   "Falha ao calcular SHA-256."
//   "Falha ao finalizar SHA-256."
bool sha256_of_file(const std::wstring& path, Digest& digest, std::wstring& error);

// Gives that buffer back. The next digest makes another.
void release_digest_buffer();

// Whether the file has exactly the entry's size and digest. A missing file, a folder and a file of another size are a
// plain no, with `error` untouched; a file that can't be read for its digest is a no with sha256_of_file's `error`.
bool file_matches_entry(const std::wstring& path, const ManifestEntry& entry, std::wstring& error);

// The size of what stands at `path`; false if nothing or a folder does. Reparse points aren't looked at.
bool regular_file_size(const std::wstring& path, std::uint64_t& size);

// 64 lower-case hexadecimal digits.
std::string hex_lower(const Digest& digest);

// hex_lower of the SHA-256 of the folder's UTF-8 text in ASCII lower case: the part of the lock's name that says which
// folder it locks. A folder that has no UTF-8 form has the key of the empty text. Failure "Hash da pasta falhou.".
std::string folder_key(const std::wstring& client_root);

}  // namespace vandrel
