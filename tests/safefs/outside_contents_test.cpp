// Contents of the simulated disk that lie outside of it.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>

#include "winsim/disk_impl.h"
#include "winsim/world.h"

namespace winsim {
namespace {

constexpr const wchar_t* kFile = L"C:\\data\\file";
constexpr const wchar_t* kCopy = L"C:\\data\\copy";

// 1 TiB of the letters a to z, over and over.
class Letters : public Source {
 public:
    std::uint64_t size() const override { return 1ULL << 40U; }
    std::uint64_t identity() const override { return 1; }
    void read(std::uint64_t offset, char* to, std::size_t count) const override {
        std::generate_n(to, count, [&offset] { return static_cast<char>('a' + offset++ % 26); });
    }
};

// Writes the file anew, letter by letter.
void write(const std::string& text) {
    HANDLE file = CreateFileW(kFile, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    for (const char unit : text) WriteFile(file, &unit, 1, &written, nullptr);
    CloseHandle(file);
}

class OutsideContents : public ::testing::Test {
 protected:
    World world_;
    World::Guard guard_{world_};
    std::shared_ptr<const Letters> letters_ = std::make_shared<Letters>();
};

TEST_F(OutsideContents, a_file_of_any_size_is_placed_copied_and_torn_by_a_power_cut) {
    world_.disk.put(kFile, Bytes(letters_), 0);
    ASSERT_NE(CopyFileW(kFile, kCopy, TRUE), 0);
    EXPECT_TRUE(world_.disk.contents(kCopy)->same(*world_.disk.contents(kFile)));
    Loss torn = world_.disk.nothing_lost();
    torn.data = Loss::Data::torn;
    world_.disk.lose_power(torn);
    const auto left = world_.disk.contents(kCopy);
    std::string middle(4, '?');
    left->read((1ULL << 39U) - 2, middle.data(), 4);
    EXPECT_EQ(middle, std::string("gh\0\0", 4));
    EXPECT_EQ(left->size(), 1ULL << 40U);
}

TEST_F(OutsideContents, what_is_written_as_it_was_delivered_stays_a_view_until_it_differs) {
    world_.disk.make_folder(L"C:\\data");
    world_.disk.impl().delivered = letters_;
    const long uses = letters_.use_count();
    write("abc");
    EXPECT_GT(letters_.use_count(), uses);
    EXPECT_EQ(world_.disk.read(kFile), "abc");
    write("abcdX");
    EXPECT_EQ(letters_.use_count(), uses);
    EXPECT_EQ(world_.disk.read(kFile), "abcdX");
    EXPECT_FALSE(world_.disk.contents(kFile)->same(Bytes(letters_)));
}

}  // namespace
}  // namespace winsim
