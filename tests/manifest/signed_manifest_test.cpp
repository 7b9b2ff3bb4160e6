#include "manifest/signed_manifest.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/support/direct.h"

namespace support {
namespace {

constexpr const wchar_t* kNone = L"Manifesto Vandrel invalido.";
constexpr const wchar_t* kHeader = L"Cabecalho do manifesto invalido.";
constexpr const wchar_t* kEntry = L"Entrada de arquivo invalida no manifesto.";
constexpr const wchar_t* kCut = L"Hash ou tamanho ausente no manifesto.";
constexpr const wchar_t* kUnsigned = L"Assinatura ausente no manifesto.";
constexpr const wchar_t* kBlock = L"Bloco de assinatura invalido.";
constexpr const wchar_t* kRejected = L"Assinatura digital do manifesto rejeitada.";

class SignedManifest : public testing::Test {
 protected:
    // Into outputs of their own, the document in a block of exactly its size; the error text, empty if it was accepted.
    std::wstring parse(const std::string& document) {
        const std::vector<std::uint8_t> bytes(document.begin(), document.end());
        std::wstring error;
        entries.clear();
        const bool accepted = vandrel::parse_signed_manifest(bytes, release, entries, error);
        EXPECT_EQ(accepted, error.empty());
        paths.clear();
        for (const auto& entry : entries) paths.emplace_back(entry.path);
        return error;
    }

    DirectMachine machine;
    std::uint32_t release = 0;
    std::vector<vandrel::ManifestEntry> entries;
    std::vector<std::string> paths;
};

TEST_F(SignedManifest, gives_release_and_entries_in_wire_order_behind_those_that_are_there_already) {
    const std::string longest(4096, 'p');
    const std::string odd("\xFF\0", 2);
    const std::vector<std::string> wire{wire_entry("z/last", "abc"), wire_entry(longest, UINT64_MAX, sha256("")),
                                        wire_entry(odd, 0, sha256("x"))};
    const std::string document = with_signature(signed_range(4294967295, wire));
    EXPECT_EQ(parse(document), L"");
    EXPECT_EQ(release, 4294967295U);
    EXPECT_EQ(paths, (std::vector<std::string>{"z/last", longest, odd}));
    EXPECT_EQ(entries[0].size, 3U);
    EXPECT_EQ(entries[0].sha256, digest_of("abc"));
    EXPECT_EQ(entries[1].size, UINT64_MAX);
    EXPECT_EQ(parse(manifest_of(0, {})), L"");  // for the policy to refuse
    EXPECT_EQ(release, 0U);
    const std::vector<std::uint8_t> bytes(document.begin(), document.end());
    std::wstring error;
    for (const std::size_t count : {3U, 6U}) {
        EXPECT_TRUE(vandrel::parse_signed_manifest(bytes, release, entries, error));
        EXPECT_EQ(entries.size(), count);
    }
}

TEST_F(SignedManifest, cut_at_any_byte_is_refused_with_the_words_for_that_place) {
    const std::string range = signed_range(7, std::vector<std::string>{wire_entry("ab", "x"), wire_entry("c", "y")});
    const std::string document = with_signature(range);
    for (std::size_t size = 0; size < document.size(); ++size) {
        const std::size_t in_entry = size < 12 + 44 ? size - 12 : size - 12 - 44;
        const std::size_t path_end = size < 12 + 44 ? 2 + 2 : 2 + 1;
        const std::wstring expected = size < 12                 ? kNone
                                      : size < range.size()     ? (in_entry < path_end ? kEntry : kCut)
                                      : size < range.size() + 6 ? kUnsigned
                                                                : kBlock;
        EXPECT_EQ(parse(document.substr(0, size)), expected) << size;
    }
}

TEST_F(SignedManifest, with_a_wrong_field_is_refused_in_the_order_of_the_checks) {
    const std::string two = wire_entry("ab", "x") + wire_entry("c", "y");
    const auto header = [](std::uint64_t count) { return "QMU2" + u32(7) + u32(count); };
    const std::string good = header(2) + two;
    const std::string signature = sign(good);
    const std::tuple<const char*, std::string, const wchar_t*> rows[] = {
        {"11 bytes", "QMU2" + std::string(7, '\0'), kNone},
        {"another magic", "QMU1" + with_signature(good).substr(4), kNone},
        {"12 bytes", header(0), kUnsigned},
        {"100000 entries pass the header", header(100000), kEntry},
        {"100001 entries", header(100001), kHeader},
        {"path of 0", header(1) + u16(0) + std::string(40, 'x'), kEntry},
        {"path of 4097", header(1) + wire_entry(std::string(4097, 'p'), 1, sha256("")), kEntry},
        {"path beyond the end", header(1) + u16(5) + "abcd", kEntry},
        {"one entry more than counted", header(1) + two + "SIG1" + u16(384) + signature, kUnsigned},
        // The length of the third entry is "SI": more than 4096.
        {"one entry fewer than counted", header(3) + two + "SIG1" + u16(384) + signature, kEntry},
        {"another mark", good + "SIG2" + u16(384) + signature, kUnsigned},
        {"length 0", good + "SIG1" + u16(0), kBlock},
        {"length 0 with a signature", good + "SIG1" + u16(0) + signature, kBlock},
        {"length above the rest", good + "SIG1" + u16(385) + signature, kBlock},
        {"a byte behind", with_signature(good) + "x", kBlock},
        {"another release", "QMU2" + u32(8) + with_signature(good).substr(8), kRejected},
        {"a changed path", header(2) + "\2" + with_signature(good).substr(13).replace(1, 2, "ac"), kRejected},
        {"the signature of a longer range", good + "SIG1" + u16(384) + sign(good + "SIG1"), kRejected},
        {"383 of 383", good + "SIG1" + u16(383) + signature.substr(1), kRejected},
        {"385 of 385", good + "SIG1" + u16(385) + signature + "x", kRejected}};
    for (const auto& [name, text, error] : rows) EXPECT_EQ(parse(text), error) << name;
}

TEST_F(SignedManifest, is_rejected_when_the_platform_cannot_verify_it_and_nothing_stays_open) {
    const std::pair<const char*, int> rows[] = {{"BCryptOpenAlgorithmProvider", 0},
                                                {"BCryptGetProperty", 0},
                                                {"BCryptCreateHash", 0},
                                                {"BCryptHashData", 0},
                                                {"BCryptFinishHash", 0},
                                                {"BCryptOpenAlgorithmProvider", 1},
                                                {"BCryptImportKeyPair", 0},
                                                {"BCryptVerifySignature", 0}};
    for (const auto& [call, skip] : rows) {
        Faults faults(machine.world);
        faults.add(call, L"", kDistinct, 1, skip);
        EXPECT_EQ(parse(manifest_of(7, {{"a", "x"}})), kRejected) << call;
        EXPECT_EQ(machine.open_cng_objects(), 0U) << call;
    }
}

}  // namespace
}  // namespace support
