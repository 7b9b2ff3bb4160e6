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
    if (!parse_signed_manifest(manifest.signed_bytes, manifest.release, manifest.entries, error)) {
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
    entry.prior.sha256 = read_digest(reader);
    return entry;
}

void parse_files(ByteReader& reader, TransactionPlan& plan) {
    const std::wstring invalid = L"Plano de recuperacao invalido.";
    require(has(reader, 4), invalid);
    const std::uint32_t file_count = read_u32(reader);
    require(file_count <= plan.manifest.entries.size(), invalid);
    std::set<std::uint32_t> seen;
    for (std::uint32_t i = 0; i < file_count; ++i) plan.files.push_back(parse_plan_entry(reader, plan.manifest, seen));
}

}  // namespace

SerializedTransaction serialize_transaction(const TransactionPlan& plan) {
    SerializedTransaction record;
    append_text(record.head, kMagic);
    append_text(record.head, wide_to_utf8(plan.job_id));
    append_u32(record.head, static_cast<std::uint32_t>(plan.manifest.signed_bytes.size()));
    record.manifest = plan.manifest.signed_bytes;
    record.tail.reserve(4 + kEntrySize * plan.files.size());
    append_u32(record.tail, static_cast<std::uint32_t>(plan.files.size()));
    for (const PlanEntry& entry : plan.files) {
        append_u32(record.tail, entry.manifest_index);
        append_u8(record.tail, entry.existed ? 1 : 0);
        append_u64(record.tail, entry.prior.size);
        append_bytes(record.tail, entry.prior.sha256);
    }
    const std::size_t size = record.head.size() + record.manifest.size() + record.tail.size();
    require(size <= kLargestRecord, L"Registro de recuperacao excede limite.");
    return record;
}

TransactionPlan parse_transaction(Bytes bytes, const LaunchOptions& options) {
    ByteReader reader{bytes};  // the plan takes the bytes over, and they stay where they are
    require(has(reader, kFixedSize) && read_text(reader, kMagic.size()) == kMagic,
            L"Registro de recuperacao invalido.");
    TransactionPlan plan;
    plan.job_id = parse_job(reader);
    const std::uint32_t length = parse_manifest_length(reader);
    plan.manifest.signed_bytes = read_bytes(reader, length);
    plan.manifest.storage = std::move(bytes);
    verify_manifest(options, plan.manifest);
    parse_files(reader, plan);
    require(remaining(reader) == 0, L"Dados extras no registro de recuperacao.");
    return plan;
}

}  // namespace vandrel
