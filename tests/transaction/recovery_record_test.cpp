#include <functional>
#include <optional>

#include "tests/transaction/transaction_test.h"

namespace support {
namespace {

const std::wstring kNoRecord = L"Registro de recuperacao invalido.";
const std::wstring kBadJob = L"Job de recuperacao invalido.";
const std::wstring kCutManifest = L"Manifesto de recuperacao truncado.";
const std::wstring kForged = L"Assinatura digital do manifesto rejeitada.";
const std::wstring kNoPlan = L"Plano de recuperacao invalido.";
const std::wstring kNoEntry = L"Entrada de recuperacao invalida.";
const std::wstring kExtra = L"Dados extras no registro de recuperacao.";

std::string entry(std::uint64_t index, int existed, std::uint64_t size,
                  const std::string& digest = std::string(32, 'd')) {
    return u32(index) + static_cast<char>(existed) + u64(size) + digest;
}

// A record in the making: release 2 of six files, of which the third and the first are planned.
struct Record {
    std::string magic = "VUT1";
    std::string job = narrow(kJob);
    std::string manifest = manifest_of(2, minimal_client());
    std::optional<std::uint32_t> length;
    std::vector<std::string> entries{entry(2, 1, 4096), entry(0, 0, 9)};
    std::optional<std::uint32_t> count;
    std::string behind;

    std::string text() const {
        std::string bytes = magic + job + u32(length.value_or(static_cast<std::uint32_t>(manifest.size()))) + manifest;
        bytes += u32(count.value_or(static_cast<std::uint32_t>(entries.size())));
        for (const std::string& packed : entries) bytes += packed;
        return bytes + behind;
    }
};

struct Reader : Machine {
    Reader() { install(minimal_client()); }
    std::wstring refusal_of(const std::string& bytes) {
        return refusal(world, [&] { vandrel::parse_transaction(bytes_of(bytes), options()); });
    }
    vandrel::TransactionPlan read(const std::string& bytes) {
        const winsim::World::Guard guard(world);
        return vandrel::parse_transaction(bytes_of(bytes), options());
    }
};

TEST(RecoveryRecord, what_is_read_is_what_was_written_and_writes_the_same_bytes_again) {
    Record record;
    record.job = "0123456789ABCDEF0123456789ABCDEF";
    ASSERT_EQ(record.text().size(), 44 + record.manifest.size() + 2 * 45);
    EXPECT_EQ(record.entries[0].substr(0, 13), std::string("\2\0\0\0\1\0\x10\0\0\0\0\0\0", 13));
    Reader reader;
    vandrel::TransactionPlan plan = reader.read(record.text());
    EXPECT_EQ(plan.job_id, L"0123456789ABCDEF0123456789ABCDEF");
    EXPECT_EQ(plan.manifest.release, 2U);
    EXPECT_EQ(plan.manifest.entries.size(), 6U);
    ASSERT_EQ(plan.files.size(), 2U);
    EXPECT_EQ(plan.files[0].manifest_index, 2U);
    EXPECT_TRUE(plan.files[0].existed);
    EXPECT_EQ(plan.files[0].prior.size, 4096U);
    EXPECT_EQ(plan.files[0].prior.sha256[31], 'd');
    EXPECT_FALSE(plan.files[1].existed);
    EXPECT_EQ(plan.files[1].prior.size, 9U);
    EXPECT_EQ(plan.files[1].prior.sha256[0], 'd');
    EXPECT_EQ(record_of(reader.world, plan), record.text());
}

TEST(RecoveryRecord, cut_at_any_byte_it_is_refused_in_the_words_of_the_part_that_is_missing) {
    Reader reader;
    const Record record;
    const std::string whole = record.text();
    const std::size_t manifest_end = 40 + record.manifest.size();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const std::wstring expected = size < 44                 ? kNoRecord
                                      : size < manifest_end     ? kCutManifest
                                      : size < manifest_end + 4 ? kNoPlan
                                                                : kNoEntry;
        ASSERT_EQ(reader.refusal_of(whole.substr(0, size)), expected) << size;
    }
    EXPECT_EQ(reader.refusal_of(whole), L"");
    EXPECT_EQ(reader.refusal_of(whole + '\0'), kExtra);
}

struct Change {
    const char* name;
    std::function<void(Record&)> make;
    std::wstring message;  // empty: the reader takes it
};

auto with(std::string Record::*part, const std::string& value) {
    return [=](Record& record) { record.*part = value; };
}
auto entries(std::vector<std::string> packed) {
    return [=](Record& record) { record.entries = packed; };
}
void unmanage(Record& record) {
    record.manifest = manifest_of(2, {{"readme.txt", "x"}});
}

const std::string kFull(16777216, 'm');
const std::vector<std::string> kAll{entry(5, 0, 0), entry(4, 0, 0), entry(3, 0, 0),
                                    entry(2, 0, 0), entry(1, 0, 0), entry(0, 0, 0)};
const std::vector<Change> kChanges{
    {"one wrong letter", with(&Record::magic, "VUT2"), kNoRecord},
    {"a job that isn't hexadecimal", with(&Record::job, "0123456789abcdef0123456789abcdeg"), kBadJob},
    {"a job that isn't UTF-8", with(&Record::job, "\xFF" + std::string(31, '0')), kBadJob},
    {"31 characters in 32 bytes", with(&Record::job, "\xC3\xA9" + std::string(30, '0')), kBadJob},
    {"a manifest of 16777216 bytes", with(&Record::manifest, kFull), L"Manifesto Vandrel invalido."},
    {"a manifest of a byte more", with(&Record::manifest, kFull + "m"), kCutManifest},
    {"a length beyond the end", [](Record& r) { r.length = 1000000; }, kCutManifest},
    {"a flipped bit in the manifest", [](Record& r) { r.manifest[20] ^= 1; }, kForged},
    {"a manifest against the policy", unmanage, L"Caminho nao gerenciado no manifesto."},
    {"the same with a plan that is cut", [](Record& r) { unmanage(r), r.count = 7; },
     L"Caminho nao gerenciado no manifesto."},
    {"no entries", entries({}), L""},
    {"as many entries as files", entries(kAll), L""},
    {"a count of one more", [](Record& r) { r.count = 7; }, kNoPlan},
    {"an index as large as the number of files", entries({entry(6, 0, 0)}), kNoEntry},
    {"an index given twice", entries({entry(1, 1, 1), entry(1, 1, 1)}), kNoEntry},
    {"a flag of 2", entries({entry(1, 2, 1)}), kNoEntry},
    {"a file of 4 GiB", entries({entry(1, 1, 4294967296)}), L""},
    {"a byte more", entries({entry(1, 1, 4294967297)}), kNoEntry},
    {"a byte behind it", with(&Record::behind, "x"), kExtra},
};

TEST(RecoveryRecord, the_reader_is_strict_where_the_rules_say_so_and_nowhere_else) {
    Reader reader;
    for (const Change& change : kChanges) {
        Record record;
        change.make(record);
        EXPECT_EQ(reader.refusal_of(record.text()), change.message) << change.name;
    }
}

TEST(RecoveryRecord, the_writer_checks_nothing_but_32_MiB) {
    winsim::World world;
    vandrel::TransactionPlan plan;
    plan.job_id = L"short";
    hold(plan.manifest, {});
    plan.files.resize(1);
    plan.files[0].manifest_index = 77;
    plan.files[0].prior.size = UINT64_MAX;
    EXPECT_EQ(record_of(world, plan), "VUT1short" + u32(0) + u32(1) + entry(77, 0, UINT64_MAX, std::string(32, '\0')));
    plan.job_id = kJob;
    plan.files.clear();
    hold(plan.manifest, vandrel::Bytes(33554432 - 44));
    EXPECT_EQ(record_of(world, plan).size(), 33554432U);
    hold(plan.manifest, vandrel::Bytes(33554432 - 43));
    EXPECT_EQ(refusal(world, [&] { record_of(world, plan); }), L"Registro de recuperacao excede limite.");
}

}  // namespace
}  // namespace support
