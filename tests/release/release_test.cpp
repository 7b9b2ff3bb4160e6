#include "release_test.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <span>
#include <sstream>

#include "build_config.h"
#include "manifest/signed_manifest.h"
#include "release/command_line.h"
#include "winsim/world.h"

namespace release_test {
namespace {

fs::path new_folder() {
    std::string name = (fs::temp_directory_path() / "vandrel-release-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    return name;
}

}  // namespace

Outcome run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "vandrel-release");
    std::vector<const char*> argv;
    for (const std::string& argument : arguments) argv.push_back(argument.c_str());
    std::ostringstream out;
    std::ostringstream err;
    const int exit_code = vandrel_release::run_command_line(static_cast<int>(argv.size()), argv.data(), out, err);
    return {exit_code, out.str(), err.str()};
}

void write(const fs::path& path, const std::string& content) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

std::string read(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.good()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

Files everything_in(const fs::path& folder) {
    Files found;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
        const std::string path = entry.path().string().substr(folder.string().size() + 1);
        found[path] = entry.is_directory() ? "folder" : read(entry.path());
    }
    return found;
}

std::vector<vandrel::ManifestEntry> accepted_entries(const std::string& manifest, std::uint32_t release) {
    winsim::World world;
    const winsim::World::Guard guard(world);
    std::uint32_t found = 0;
    std::vector<vandrel::ManifestEntry> entries;
    std::wstring error;
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(manifest.data()), manifest.size());
    EXPECT_TRUE(vandrel::parse_signed_manifest(bytes, found, entries, error));
    EXPECT_EQ(found, release);
    return entries;
}

std::string helper_program(const std::string& url) {
    std::string content(vandrel::kPublicModulus.begin(), vandrel::kPublicModulus.end());
    for (const char unit : url) content += {unit, '\0'};
    content += {'\0', '\0'};
    std::string image = "MZ" + std::string(0x3A, '\0') + support::u32(0x40) + std::string("PE\0\0\x64\x86\1\0", 8);
    image += std::string(16, '\0') + std::string(16, '\0');  // no optional header; the section's name and place
    return image + support::u32(content.size()) + support::u32(0x80) + std::string(16, '\0') + content;
}

Files smallest_client() {
    return {{"init.lua", "print(1)\n"}, {"brindler_dx_x64.exe", "client"}};
}

ReleaseTest::ReleaseTest() : top_(new_folder()) {}

ReleaseTest::~ReleaseTest() {
    fs::remove_all(top_);
}

void ReleaseTest::make_folder(const Files& files) {
    fs::remove_all(folder_);
    for (const auto& [path, content] : files) write(folder_ / path, content);
}

fs::path ReleaseTest::private_key() {
    const fs::path key = top_ / "development.pem";
    if (!fs::exists(key)) {
        write(key, read(VANDREL_DEVELOPMENT_KEY));
        fs::permissions(key, fs::perms::owner_read | fs::perms::owner_write);
    }
    return key;
}

Outcome ReleaseTest::publish(const std::string& release, const std::vector<std::string>& more) {
    std::vector<std::string> arguments{"publish", "--folder",     folder_.string(),
                                       "--tree",  tree_.string(), "--release",
                                       release,   "--key",        private_key().string()};
    arguments.insert(arguments.end(), {"--allow-development-key", "--without-helper"});
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run(arguments);
}

}  // namespace release_test
