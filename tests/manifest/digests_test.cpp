#include "manifest/digests.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "tests/support/direct.h"

namespace support {
namespace {

constexpr const wchar_t* kFile = L"C:\\Game\\data\\x.bin";
constexpr const char* kEmptyDigest = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";

class Digests : public testing::Test {
 protected:
    Digests() { machine.install({}); }
    ~Digests() override {
        EXPECT_EQ(machine.world.disk.open_handles(), 0U);
        EXPECT_EQ(machine.open_cng_objects(), 0U);
    }

    // "" for a digest, else the error text.
    std::wstring hash_file() {
        std::wstring error;
        const bool done = vandrel::sha256_of_file(kFile, digest, error);
        EXPECT_EQ(done, error.empty());
        return error;
    }

    DirectMachine machine;
    vandrel::Digest digest{};
};

TEST_F(Digests, are_taken_of_buffers_and_of_files_of_any_size) {
    for (const std::size_t size : {0U, 1U, 1048575U, 1048576U, 1048577U, 3000000U}) {
        const std::string content(size, 'x');
        machine.world.disk.put(kFile, content);
        EXPECT_EQ(hash_file(), L"");
        EXPECT_EQ(digest, digest_of(content)) << size;
        vandrel::Digest of_bytes{};
        EXPECT_TRUE(vandrel::sha256_of_bytes(reinterpret_cast<const std::uint8_t*>(content.data()), size, of_bytes));
        EXPECT_EQ(of_bytes, digest) << size;
    }
    machine.world.gate.reset();
    EXPECT_TRUE(vandrel::sha256_of_bytes(nullptr, 0, digest));
    EXPECT_EQ(vandrel::hex_lower(digest), kEmptyDigest);
    EXPECT_TRUE(machine.calls("BCryptHashData").empty());
}

TEST_F(Digests, of_a_file_fail_in_the_words_of_the_failed_step_and_of_a_buffer_without_any) {
    machine.world.disk.put(kFile, "content");
    const struct {
        const char* call;
        std::uint32_t error;
        std::wstring text;
    } rows[] = {{"BCryptOpenAlgorithmProvider", kDistinct, L"Falha ao iniciar SHA-256."},
                {"BCryptGetProperty", kDistinct, L"Falha ao preparar SHA-256."},
                {"BCryptCreateHash", kDistinct, L"Falha ao criar SHA-256."},
                {"CreateFileW", 5, vandrel::system_error_text(L"Falha ao abrir arquivo para verificacao", 5)},
                {"ReadFile", 1117, vandrel::system_error_text(L"Falha ao ler arquivo para verificacao", 1117)},
                {"BCryptHashData", kDistinct, L"Falha ao calcular SHA-256."},
                {"BCryptFinishHash", kDistinct, L"Falha ao finalizar SHA-256."}};
    for (const auto& row : rows) {
        Faults faults(machine.world);
        faults.add(row.call, L"", row.error, 2);
        EXPECT_EQ(hash_file(), row.text);
        const std::uint8_t byte = 0;
        EXPECT_EQ(vandrel::sha256_of_bytes(&byte, 1, digest), row.call[0] != 'B') << row.call;
    }
}

TEST_F(Digests, of_files_admit_other_readers_and_no_writer) {
    machine.world.disk.put(kFile, "content");
    const int reader = machine.world.disk.hold(kFile, GENERIC_READ, FILE_SHARE_READ);
    EXPECT_EQ(hash_file(), L"");
    machine.world.disk.release(reader);
    const int writer = machine.world.disk.hold(kFile, GENERIC_WRITE, 7);
    const vandrel::ManifestEntry entry{"", 7, digest_of("content")};
    std::wstring error;
    EXPECT_FALSE(vandrel::file_matches_entry(kFile, entry, error));
    EXPECT_EQ(error, vandrel::system_error_text(L"Falha ao abrir arquivo para verificacao", 32));
    machine.world.disk.release(writer);
}

TEST_F(Digests, decide_whether_a_file_is_an_entrys_and_a_difference_is_no_error) {
    machine.world.disk.put(kFile, "content");
    const struct {
        const wchar_t* path;
        std::uint64_t size;
        std::string content;
        bool matches;
        std::size_t opens;
    } rows[] = {{kFile, 7, "content", true, 1},       {kFile, 7, "CONTENT", false, 1},
                {kFile, 8, "content", false, 0},      {kFile, 7 + (1ULL << 32), "content", false, 0},
                {L"C:\\Game\\none", 0, "", false, 0}, {L"C:\\Game\\data", 0, "", false, 0}};
    for (const auto& row : rows) {
        machine.world.gate.reset();
        std::wstring error = L"as it came";
        const vandrel::ManifestEntry entry{"", row.size, digest_of(row.content)};
        EXPECT_EQ(vandrel::file_matches_entry(row.path, entry, error), row.matches) << narrow(row.path) << row.size;
        EXPECT_EQ(error, L"as it came");
        EXPECT_EQ(machine.calls("CreateFileW").size(), row.opens);
    }
    std::uint64_t size = 0;
    EXPECT_TRUE(vandrel::regular_file_size(kFile, size));
    EXPECT_EQ(size, 7U);
    EXPECT_FALSE(vandrel::regular_file_size(L"C:\\Game\\data", size));
    EXPECT_FALSE(vandrel::regular_file_size(L"C:\\Game\\none", size));
    machine.world.gate.reset();
}

TEST_F(Digests, make_one_key_for_a_folder_in_any_ascii_case) {
    const auto key_of = [](const std::string& text) { return vandrel::hex_lower(digest_of(text)); };
    EXPECT_EQ(vandrel::folder_key(L"C:\\Games\\X"), key_of("c:\\games\\x"));
    EXPECT_EQ(vandrel::folder_key(L"c:\\games\\x"), key_of("c:\\games\\x"));
    EXPECT_EQ(vandrel::folder_key(L"C:\\Games\\X\\"), key_of("c:\\games\\x\\"));
    EXPECT_EQ(vandrel::folder_key(L"C:\\\xC7"), key_of("c:\\\xC3\x87"));
    EXPECT_EQ(vandrel::folder_key(std::wstring(L"C:\\") + wchar_t{0xD800}), kEmptyDigest);
    Faults faults(machine.world);
    faults.add("BCryptFinishHash");
    EXPECT_EQ(machine.refusal([] { vandrel::folder_key(L"C:\\x"); }), L"Hash da pasta falhou.");
}

}  // namespace
}  // namespace support
