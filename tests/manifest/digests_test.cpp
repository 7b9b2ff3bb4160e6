#include "manifest/digests.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <tuple>

#include "tests/support/direct.h"

namespace support {
namespace {

constexpr const wchar_t* kFile = L"C:\\Game\\data\\x.bin";

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

TEST_F(Digests, are_taken_of_buffers_and_of_files_of_any_size_in_reads_of_1_mib) {
    for (const std::size_t size : {0U, 1U, 1048575U, 1048576U, 1048577U, 3000000U}) {
        const std::string content(size, 'x');
        machine.world.disk.put(kFile, content);
        machine.world.gate.reset();
        EXPECT_EQ(hash_file(), L"");
        EXPECT_EQ(digest, digest_of(content)) << size;
        EXPECT_EQ(machine.calls("ReadFile").size(), (size + 1048575) / 1048576 + 1) << size;
        vandrel::Digest of_bytes{};
        EXPECT_TRUE(vandrel::sha256_of_bytes(reinterpret_cast<const std::uint8_t*>(content.data()), size, of_bytes));
        EXPECT_EQ(of_bytes, digest) << size;
    }
}

TEST_F(Digests, of_a_file_fail_in_the_words_of_the_failed_step_and_of_a_buffer_without_any) {
    machine.world.disk.put(kFile, "content");
    const std::tuple<const char*, std::uint32_t, const wchar_t*> rows[] = {
        {"BCryptOpenAlgorithmProvider", kDistinct, L"Falha ao iniciar SHA-256."},
        {"BCryptGetProperty", kDistinct, L"Falha ao preparar SHA-256."},
        {"BCryptCreateHash", kDistinct, L"Falha ao criar SHA-256."},
        {"CreateFileW", 5, L"Falha ao abrir arquivo para verificacao (5): Access is denied.\r\n"},
        {"ReadFile", 6, L"Falha ao ler arquivo para verificacao (6): The handle is invalid.\r\n"},
        {"BCryptHashData", kDistinct, L"Falha ao calcular SHA-256."},
        {"BCryptFinishHash", kDistinct, L"Falha ao finalizar SHA-256."}};
    for (const auto& [call, code, text] : rows) {
        Faults faults(machine.world);
        faults.add(call, L"", code, 2);
        EXPECT_EQ(hash_file(), text);
        const std::uint8_t byte = 0;
        EXPECT_EQ(vandrel::sha256_of_bytes(&byte, 1, digest), call[0] != 'B') << call;
    }
}

TEST_F(Digests, of_files_admit_other_readers_and_nobody_else) {
    machine.world.disk.put(kFile, "content");
    const vandrel::ManifestEntry entry{"", 7, digest_of("content")};
    for (const DWORD access : {GENERIC_READ, GENERIC_WRITE, DELETE}) {
        const int other = machine.world.disk.hold(kFile, access, access == GENERIC_READ ? FILE_SHARE_READ : 7);
        std::wstring error;
        EXPECT_EQ(vandrel::file_matches_entry(kFile, entry, error), access == GENERIC_READ) << access;
        EXPECT_EQ(error.starts_with(L"Falha ao abrir arquivo para verificacao (32)"), access != GENERIC_READ);
        machine.world.disk.release(other);
    }
}

TEST_F(Digests, decide_whether_a_file_is_an_entrys_and_a_difference_is_no_error) {
    machine.world.disk.put(kFile, "content");
    const std::tuple<const wchar_t*, std::uint64_t, const char*, bool, std::size_t> rows[] = {
        {kFile, 7, "content", true, 1},       {kFile, 7, "CONTENT", false, 1},
        {kFile, 8, "content", false, 0},      {kFile, 4294967303, "content", false, 0},
        {L"C:\\Game\\none", 0, "", false, 0}, {L"C:\\Game\\data", 0, "", false, 0}};
    for (const auto& [path, size, content, matches, opens] : rows) {
        machine.world.gate.reset();
        std::wstring error = L"as it came";
        const vandrel::ManifestEntry entry{"", size, digest_of(content)};
        EXPECT_EQ(vandrel::file_matches_entry(path, entry, error), matches) << narrow(path) << size;
        EXPECT_EQ(error, L"as it came");
        EXPECT_EQ(machine.calls("CreateFileW").size(), opens);
    }
    std::uint64_t size = 0;
    EXPECT_TRUE(vandrel::regular_file_size(kFile, size));
    EXPECT_EQ(size, 7U);
    EXPECT_FALSE(vandrel::regular_file_size(L"C:\\Game\\data", size));
    EXPECT_FALSE(vandrel::regular_file_size(L"C:\\Game\\none", size));
    machine.world.gate.reset();
}

TEST_F(Digests, make_one_key_for_a_folder_in_any_ascii_case) {
    const std::pair<std::wstring, std::string> rows[] = {{L"C:\\Games\\X", "c:\\games\\x"},
                                                         {L"c:\\games\\x", "c:\\games\\x"},
                                                         {L"C:\\Games\\X\\", "c:\\games\\x\\"},
                                                         {L"C:\\\xC7", "c:\\\xC3\x87"},
                                                         {std::wstring(L"C:\\") + wchar_t{0xD800}, ""}};
    for (const auto& [folder, text] : rows) {
        EXPECT_EQ(vandrel::folder_key(folder), vandrel::hex_lower(digest_of(text))) << text;
    }
    EXPECT_EQ(vandrel::hex_lower(digest_of("")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    Faults faults(machine.world);
    faults.add("BCryptFinishHash");
    EXPECT_EQ(machine.refusal([] { vandrel::folder_key(L"C:\\x"); }), L"Hash da pasta falhou.");
}

}  // namespace
}  // namespace support
