// The worked example of docs/publishing.md is a real manifest.
#include <sstream>

#include "release/manifest_format.h"
#include "release_test.h"

namespace release_test {
namespace {

// The bytes of the one hex dump in the guide: lines of "OFFSET: 16 bytes  text".
std::string dumped_bytes(const std::string& guide) {
    std::istringstream lines(guide);
    std::string bytes;
    for (std::string line; std::getline(lines, line);) {
        if (line.size() < 10 || line[8] != ':' || line.find_first_not_of("0123456789abcdef") != 8) continue;
        std::istringstream values(line.substr(10, 48));
        for (unsigned value = 0; values >> std::hex >> value;) bytes += static_cast<char>(value);
    }
    return bytes;
}

class PublishingGuide : public ReleaseTest {};

TEST_F(PublishingGuide, the_example_is_what_the_tool_signs_and_the_helper_accepts_it) {
    const fs::path root = fs::path(VANDREL_DEVELOPMENT_KEY).parent_path().parent_path();
    const std::string example = dumped_bytes(read(root / "docs/publishing.md"));
    make_folder({{"brindler_dx_x64.exe", "MZ"}, {"init.lua", "print(\"oi\")\n"}});
    ASSERT_EQ(publish("2").exit_code, 0);
    const std::string made = read(tree_ / "64/releases/2/manifest.bin");
    ASSERT_EQ(example.size(), made.size());
    const std::size_t unsalted = made.size() - vandrel_release::kSignatureBytes;
    EXPECT_EQ(example.substr(0, unsalted), made.substr(0, unsalted));
    EXPECT_EQ(accepted_entries(example, 2).size(), 2U);
}

}  // namespace
}  // namespace release_test
