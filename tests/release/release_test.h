// What the tests of the release tool stand on: a temporary folder, client folders in one line, the tool's command line.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/release_builder.h"

namespace release_test {

namespace fs = std::filesystem;

using support::Files;

// How one command of vandrel-release ended.
struct Outcome {
    int exit_code = -1;
    std::string out;
    std::string err;
};

Outcome run(std::vector<std::string> arguments);

void write(const fs::path& path, const std::string& content);
std::string read(const fs::path& path);
// Everything beneath a folder: contents of files, "folder" for folders.
Files everything_in(const fs::path& folder);

// The entries that the helper finds in a manifest of that release.
std::vector<vandrel::ManifestEntry> accepted_entries(const std::string& manifest, std::uint32_t release);

// A program as `publish` looks at helpers: its one section holds the development key's modulus, and a text.
std::string helper_program(const std::string& url = "https://updates.example/client-brd/updater.php");

// The smallest folder that can be published, with the switches of ReleaseTest::publish.
Files smallest_client();

class ReleaseTest : public ::testing::Test {
 protected:
    ReleaseTest();
    ~ReleaseTest() override;

    // Makes the folder `folder_` hold exactly this.
    void make_folder(const Files& files);
    // The development key, in a file that nobody else can read.
    fs::path private_key();
    // `publish` of `folder_` into `tree_` with the development key, and without a helper; `more` are further arguments.
    Outcome publish(const std::string& release, const std::vector<std::string>& more = {});

    fs::path top_;  // empty at first, removed at the end
    fs::path folder_ = top_ / "client";
    fs::path tree_ = top_ / "tree";
};

}  // namespace release_test
