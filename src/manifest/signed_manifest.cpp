#include "manifest/signed_manifest.h"

#include "base/bytes.h"
#include "manifest/digests.h"
#include "manifest/signature.h"

namespace vandrel {

namespace {

bool fail(std::wstring& error, const wchar_t* text) {
    error = text;
    return false;
}

bool parse_entry(ByteReader& reader, ManifestEntry& entry, std::wstring& error) {
    constexpr const wchar_t* kBadEntry = L"Entrada de arquivo invalida no manifesto.";
    constexpr const wchar_t* kCutEntry = L"Hash ou tamanho ausente no manifesto.";
    if (!reader.has(2)) return fail(error, kBadEntry);
    const std::uint16_t path_length = reader.read_u16();
    if (path_length == 0 || path_length > kLongestWirePath || !reader.has(path_length)) return fail(error, kBadEntry);
    entry.path = reader.read_text(path_length);
    if (!reader.has(8)) return fail(error, kCutEntry);
    entry.size = reader.read_u64();
    if (!reader.has(entry.sha256.size())) return fail(error, kCutEntry);
    entry.sha256 = reader.read_digest();
    return true;
}

// The block behind the entries. `reader` stands at its beginning.
bool check_signature(ByteReader& reader, std::span<const std::uint8_t> bytes, std::wstring& error) {
    constexpr const wchar_t* kRejected = L"Assinatura digital do manifesto rejeitada.";
    const std::span<const std::uint8_t> signed_range = bytes.first(reader.position());
    if (!reader.has(6) || reader.read_text(4) != "SIG1") return fail(error, L"Assinatura ausente no manifesto.");
    const std::uint16_t signature_length = reader.read_u16();
    if (signature_length == 0 || signature_length != reader.remaining()) {
        return fail(error, L"Bloco de assinatura invalido.");
    }
    if (signature_length != kSignatureSize) return fail(error, kRejected);
    Digest digest{};
    if (!sha256_of_bytes(signed_range.data(), signed_range.size(), digest)) return fail(error, kRejected);
    if (!verify_signature(digest, reader.read_bytes(signature_length))) return fail(error, kRejected);
    return true;
}

}  // namespace

bool parse_signed_manifest(std::span<const std::uint8_t> bytes, std::uint32_t& release,
                           std::vector<ManifestEntry>& entries, std::wstring& error) {
    ByteReader reader(bytes);
    if (!reader.has(kManifestHeaderSize) || reader.read_text(4) != "QMU2") {
        return fail(error, L"Manifesto Vandrel invalido.");
    }
    release = reader.read_u32();
    const std::uint32_t entry_count = reader.read_u32();
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
