// A client's folder with a transaction in it, for direct calls into the transaction engine.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "manifest/signed_manifest.h"
#include "tests/support/events.h"
#include "transaction/install.h"
#include "transaction/recovery_record.h"
#include "transaction/roll_back.h"
#include "transaction/transaction_store.h"

namespace support {

inline const std::wstring kFolder = std::wstring(kStore) + L"\\" + kJob;
inline const std::wstring kIrregular = L"Destino de download existente nao e um arquivo regular.";
inline const std::wstring kEscapes = L"Destino de download escapa da pasta permitida ou contem redirecionamento.";
inline const std::wstring kBusy = L"Outro cliente desta pasta esta aberto. Feche-o e tente novamente.";
inline const std::wstring kNoJob = L"Identificador de transacao invalido.";

inline vandrel::Bytes bytes_of(const std::string& text) {
    return {text.begin(), text.end()};
}

// `document` as a manifest holds it; not parsed.
inline void hold(vandrel::Manifest& manifest, vandrel::Bytes document) {
    manifest.storage = std::move(document);
    manifest.signed_bytes = manifest.storage;
}

// The plan that takes a folder of `old_files` to release 2, which lists `new_files`.
inline vandrel::TransactionPlan plan_of(winsim::World& world, const Files& old_files, const Files& new_files) {
    const winsim::World::Guard guard(world);
    vandrel::TransactionPlan plan;
    plan.job_id = kJob;
    vandrel::Manifest& manifest = plan.manifest;
    hold(manifest, bytes_of(manifest_of(2, new_files)));
    std::wstring error;
    EXPECT_TRUE(parse_signed_manifest(manifest.signed_bytes, manifest.release, manifest.entries, error));
    for (std::size_t i = 0; i < manifest.entries.size(); ++i) {
        const auto old = old_files.find(std::string(manifest.entries[i].path));
        if (old != old_files.end() && old->second == new_files.at(old->first)) continue;
        vandrel::PlanEntry file;
        file.manifest_index = static_cast<std::uint32_t>(i);
        file.existed = old != old_files.end();
        if (file.existed) {
            file.prior.size = old->second.size();
            file.prior.sha256 = digest_of(old->second);
        }
        plan.files.push_back(file);
    }
    return plan;
}

inline std::string record_of(winsim::World& world, const vandrel::TransactionPlan& plan) {
    const winsim::World::Guard guard(world);
    const vandrel::SerializedTransaction record = vandrel::serialize_transaction(plan);
    std::string bytes;
    for (const auto piece : record.pieces()) bytes.append(piece.begin(), piece.end());
    return bytes;
}

// `old_files` stand in the client's folder; `new_files` are staged where they differ, with the staging record.
struct Transaction : Machine {
    Transaction(const Files& old_files, const Files& new_files) {
        install(old_files);
        plan = plan_of(world, old_files, new_files);
        record = record_of(world, plan);
        world.disk.put(kFolder + L"\\staging.transaction", record);
        for (const vandrel::PlanEntry& file : plan.files) {
            const std::string path(plan.manifest.entries[file.manifest_index].path);
            world.disk.put(kFolder + L"\\files\\" + wide(path), new_files.at(path));
        }
    }

    // What stands at a full path; "" for nothing.
    std::string at(const std::wstring& path) const {
        return world.disk.exists(path) && !world.disk.is_folder(path) ? world.disk.read(path) : std::string();
    }

    // Each gives the words of its failure, "" for success.
    std::wstring install_it() {
        return refusal(world, [&] { vandrel::install_transaction(options(), plan); });
    }
    std::wstring roll_back() {
        return refusal(world, [&] { vandrel::roll_back_transaction(options(), plan); });
    }
    std::wstring discard() {
        return refusal(world, [&] { vandrel::discard_transaction(options(), plan); });
    }

    vandrel::TransactionPlan plan;
    std::string record;
    Faults faults{world};
};

}  // namespace support
