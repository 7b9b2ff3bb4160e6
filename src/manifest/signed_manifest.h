// The signed manifest: a packed little-endian document (docs/publishing.md has its layout), RSASSA-PSS over SHA-256
// with a salt of 32 bytes on the 3072-bit key that is built into the program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "manifest/manifest.h"

namespace vandrel {

inline constexpr std::size_t kManifestHeaderSize = 12;
inline constexpr std::uint32_t kLargestEntryCount = 100000;
inline constexpr std::size_t kLongestWirePath = 4096;  // bytes
inline constexpr std::size_t kSignatureSize = 384;

// True if, and only if, `bytes` is a well-formed document whose signature is valid. `entries` gets the files in wire
// order, their paths views into `bytes`; neither path nor size is judged here. On false the outputs must not be used
// and `error` is one of, in the order of the checks:
//   "Manifesto Vandrel invalido."                      under 12 bytes, or another magic
//   "Cabecalho do manifesto invalido."                 more than 100000 entries
//   "Entrada de arquivo invalida no manifesto."        an entry cut in its path, or a path of 0 or over 4096 bytes
//   "Hash ou tamanho ausente no manifesto."            an entry cut behind its path
//   "Assinatura ausente no manifesto."                 no signature block behind the entries
//   "Bloco de assinatura invalido."                    its length is 0 or not the rest of the document
//   "Assinatura digital do manifesto rejeitada."       not 384 bytes, or the signature doesn't verify, for any reason
// Throws nothing but std::bad_alloc.
bool parse_signed_manifest(std::span<const std::uint8_t> bytes, std::uint32_t& release,
                           std::vector<ManifestEntry>& entries, std::wstring& error);

}  // namespace vandrel
