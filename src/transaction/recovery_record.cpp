#include "transaction/recovery_record.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "base/failure.h"
#include "manifest/manifest_fetch.h"
#include "manifest/manifest_policy.h"
#include "manifest/signed_manifest.h"
#include "safefs/text_encoding.h"

namespace vandrel {

namespace {

constexpr std::string_view kMagic = "VUT1";
constexpr std::size_t kJobSize = 32;
constexpr std::size_t kFixedSize = 44;  // magic, job, the manifest's length and the count
constexpr std::size_t kEntrySize = 45;
static_assert(kMagic.size() + kJobSize + 4 == SignedBytes::kRoomInFront);
static_assert(kLargestRecord == SignedBytes::kLargestBuffer);
static_assert(kLargestRecordManifest == kLargestManifest, "what can be fetched can be recorded");
static_assert(kFixedSize + kLargestRecordManifest + kEntrySize * kLargestEntryCount <= kLargestRecord);

std::wstring parse_job(ByteReader& reader) {
    std::wstring job_id = utf8_to_wide(read_text(reader, kJobSize));
    require(is_job_identifier(job_id), L"Job de recuperacao invalido.");
    return job_id;
}

std::uint32_t parse_manifest_length(ByteReader& reader) {
    const std::wstring cut = L"Manifesto de recuperacao truncado.";
    require(has(reader, 4), cut);
    const std::uint32_t length = read_u32(reader);
    require(length <= kLargestRecordManifest && has(reader, length), cut);
    return length;
}

void verify_manifest(const LaunchOptions& options, Manifest& manifest) {
    std::wstring error;
    if (!parse_signed_manifest(manifest.signed_bytes.document(), manifest.release, manifest.entries, error)) {
        throw Failure(std::move(error));
    }
    validate_manifest_policy(manifest.entries, manifest.release, options);
}

PlanEntry parse_plan_entry(ByteReader& reader, const Manifest& manifest, std::set<std::uint32_t>& seen) {
    const std::wstring invalid = L"Entrada de recuperacao invalida.";
    PlanEntry entry;
    require(has(reader, 4), invalid);
    entry.manifest_index = read_u32(reader);
    require(entry.manifest_index < manifest.entries.size() && seen.insert(entry.manifest_index).second, invalid);
    require(has(reader, 1), invalid);
    const std::uint8_t existed = read_u8(reader);
    require(existed <= 1, invalid);
    entry.existed = existed == 1;
    require(has(reader, 8), invalid);
    entry.prior.size = read_u64(reader);
    require(entry.prior.size <= kLargestFile && has(reader, entry.prior.sha256.size()), invalid);
    entry.prior.path = manifest.entries[entry.manifest_index].path;
    entry.prior.sha256 = read_digest(reader);
    return entry;
}

void parse_files(ByteReader& reader, TransactionPlan& plan) {
    const std::wstring invalid = L"Plano de recuperacao invalido.";
    require(has(reader, 4), invalid);
    const std::uint32_t file_count = read_u32(reader);
    require(file_count <= plan.manifest.entries.size(), invalid);
    std::set<std::uint32_t> seen;
    for (std::uint32_t i = 0; i < file_count; ++i) {
        plan.files.push_back(parse_plan_entry(reader, plan.manifest, seen));
    }
}

}  // namespace

std::span<const std::uint8_t> serialize_transaction(TransactionPlan& plan) {
    SignedBytes& manifest = plan.manifest.signed_bytes;
    const std::wstring too_large = L"Registro de recuperacao excede limite.";
    Bytes head;
    append_text(head, kMagic);
    append_text(head, wide_to_utf8(plan.job_id));
    append_u32(head, static_cast<std::uint32_t>(manifest.size()));
    const std::size_t tail_size = 4 + kEntrySize * plan.files.size();
    require(head.size() + manifest.size() + tail_size <= kLargestRecord, too_large);
    require(head.size() <= SignedBytes::kRoomInFront && tail_size <= manifest.room_behind(), too_large);
    Bytes& record = manifest.surround(head);
    append_u32(record, static_cast<std::uint32_t>(plan.files.size()));
    for (const PlanEntry& entry : plan.files) {
        append_u32(record, entry.manifest_index);
        append_u8(record, entry.existed ? 1 : 0);
        append_u64(record, entry.prior.size);
        append_bytes(record, entry.prior.sha256);
    }
    return manifest.surrounded(head.size());
}

TransactionPlan parse_transaction(Bytes bytes, const LaunchOptions& options) {
    ByteReader reader{bytes};  // the bytes stay where they are when the plan takes them over
    require(has(reader, kFixedSize) && read_text(reader, kMagic.size()) == kMagic,
            L"Registro de recuperacao invalido.");
    TransactionPlan plan;
    plan.job_id = parse_job(reader);
    const std::uint32_t length = parse_manifest_length(reader);
    read_bytes(reader, length);
    plan.manifest.signed_bytes = SignedBytes(std::move(bytes), length);
    verify_manifest(options, plan.manifest);
    parse_files(reader, plan);
    require(remaining(reader) == 0, L"Dados extras no registro de recuperacao.");
    return plan;
}

}  // namespace vandrel
