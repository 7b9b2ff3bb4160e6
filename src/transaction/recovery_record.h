// The recovery record: a transaction as one packed little-endian document, "VUT1", from which alone a later start
// rebuilds the plan. docs/recovery-record.md has its layout.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "base/bytes.h"
#include "run/launch_options.h"
#include "transaction/transaction_plan.h"

namespace vandrel {

inline constexpr std::uint64_t kLargestRecord = 33554432;          // bytes, 32 MiB
inline constexpr std::uint32_t kLargestRecordManifest = 16777216;  // bytes, 16 MiB

// A record of 44 + N + 45 P bytes, for a manifest of N bytes and P files, in the pieces that stand one behind the
// other. The manifest is the plan's own, seen and not copied: the record is good as long as the plan lives.
struct SerializedTransaction {
    Bytes head;                              // magic, job, the manifest's length
    std::span<const std::uint8_t> manifest;  // signed, as it was received
    Bytes tail;                              // the files

    std::array<std::span<const std::uint8_t>, 3> pieces() const& { return {head, manifest, tail}; }
    void pieces() const&& = delete;  // they would outlive what they show
};

// The writer is the lenient side: what the plan holds is written as it stands, unchecked. Failure "Registro de
// recuperacao excede limite." above 32 MiB.
SerializedTransaction serialize_transaction(const TransactionPlan& plan);

// The plan of a record, complete or not at all; it keeps the record's bytes as its manifest's. The reader is the strict
// side. The manifest in it is verified afresh: its signature, and its policy as of today and on today's folder.
// Failure, in the order of the checks:
//   "Registro de recuperacao invalido."       under 44 bytes, or another magic
//   "Job de recuperacao invalido."            not 32 hexadecimal characters
//   "Manifesto de recuperacao truncado."      its length is missing, over 16 MiB, or more than what remains
//   the texts of parse_signed_manifest and validate_manifest_policy
//   "Plano de recuperacao invalido."          no count, or more files than the manifest lists
//   "Entrada de recuperacao invalida."        an entry cut, out of range, repeated, or with a bad flag or size
//   "Dados extras no registro de recuperacao."
TransactionPlan parse_transaction(Bytes bytes, const LaunchOptions& options);

}  // namespace vandrel
