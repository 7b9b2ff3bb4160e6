#include "manifest/signed_manifest.h"

#include "base/bytes.h"
#include "base/failure.h"
#include "manifest/digests.h"
#include "manifest/signature.h"

namespace vandrel {

namespace {

bool parse_entry(ByteReader& reader, ManifestEntry& entry, std::wstring& error) {
    constexpr const wchar_t* kBadEntry = L"Entrada de arquivo invalida no manifesto.";
    constexpr const wchar_t* kCutEntry = L"Hash ou tamanho ausente no manifesto.";
    if (!has(reader, 2)) return fail(error, kBadEntry);
    const std::uint16_t path_length = read_u16(reader);
    if (path_length == 0 || path_length > kLongestWirePath || !has(reader, path_length)) return fail(error, kBadEntry);
    entry.path = read_text(reader, path_length);
    if (!has(reader, 8)) return fail(error, kCutEntry);
    entry.size = read_u64(reader);
    if (!has(reader, entry.sha256.size())) return fail(error, kCutEntry);
    entry.sha256 = read_digest(reader);
    return true;
}

// The block behind the entries. `reader` stands at its beginning.
bool check_signature(ByteReader& reader, std::span<const std::uint8_t> bytes, std::wstring& error) {
    constexpr const wchar_t* kRejected = L"Assinatura digital do manifesto rejeitada.";
    const std::span<const std::uint8_t> signed_range = bytes.first(reader.position);
    if (!has(reader, 6) || read_text(reader, 4) != "SIG1") return fail(error, L"Assinatura ausente no manifesto.");
    const std::uint16_t signature_length = read_u16(reader);
    if (signature_length == 0 || signature_length != remaining(reader)) {
        return fail(error, L"Bloco de assinatura invalido.");
    }
    if (signature_length != kSignatureSize) return fail(error, kRejected);
    Digest digest{};
    if (!sha256_of_bytes(signed_range.data(), signed_range.size(), digest)) return fail(error, kRejected);
    if (!verify_signature(digest, read_bytes(reader, signature_length))) return fail(error, kRejected);
    return true;
}

}  // namespace

bool parse_signed_manifest(std::span<const std::uint8_t> bytes, std::uint32_t& release,
                           std::vector<ManifestEntry>& entries, std::wstring& error) {
    ByteReader reader{bytes};
    if (!has(reader, kManifestHeaderSize) || read_text(reader, 4) != "QMU2") {
        return fail(error, L"Manifesto Vandrel invalido.");
    }
    release = read_u32(reader);
    const std::uint32_t entry_count = read_u32(reader);
    if (entry_count > kLargestEntryCount) return fail(error, L"Cabecalho do manifesto invalido.");
    if (entries.capacity() < entry_count) entries.reserve(entry_count);
    for (std::uint32_t i = 0; i < entry_count; ++i) {
        ManifestEntry entry;
        if (!parse_entry(reader, entry, error)) return false;
        entries.push_back(entry);
    }
    return check_signature(reader, bytes, error);
}

}  // namespace vandrel
