// What `publish` makes, and how it leaves the tree.
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

#include "release/manifest_format.h"
#include "release/refusal.h"
#include "release/tree_changes.h"
#include "release_test.h"

namespace release_test {
namespace {

class Publish : public ReleaseTest {};

TEST_F(Publish, a_folder_becomes_a_manifest_that_the_helper_accepts_and_the_files_it_lists) {
    Files client = smallest_client();
    client["data/nothing.txt"] = "";
    client["data/Canções antigas/São João.ogg"] = std::string(3U << 20U, 'x') + "end";  // over one copy buffer
    client["Vandrel Updater.exe"] = helper_program();
    make_folder(client);
    const Outcome outcome = publish("7");
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out, "published release 7: 5 files, 3146352 bytes, manifest 711 bytes\n");
    ASSERT_EQ(outcome.exit_code, 0);
    const std::string manifest = read(tree_ / "64/releases/7/manifest.bin");
    EXPECT_TRUE(manifest.starts_with(support::signed_range(7, client)));
    EXPECT_EQ(accepted_entries(manifest, 7).size(), client.size());
    const std::string key = read(fs::path(VANDREL_DEVELOPMENT_KEY).parent_path() / "development_public.pem");
    Files tree{{"64", "folder"},
               {"64/current", "7\n"},
               {"64/releases", "folder"},
               {"64/releases/7", "folder"},
               {"64/releases/7/manifest.bin", manifest},
               {"64/releases/7/public.pem", key.substr(key.find("-----BEGIN"))},
               {"64/releases/7/files", "folder"}};
    tree["64/releases/7/files/data"] = tree["64/releases/7/files/data/Canções antigas"] = "folder";
    for (const auto& [path, content] : client) tree["64/releases/7/files/" + path] = content;
    EXPECT_EQ(everything_in(tree_), tree);
}

TEST_F(Publish, what_is_skipped_is_named_and_the_rest_is_published) {
    Files client = smallest_client();
    client["notes.txt"] = client["data/trace.log"] = client["data/deep/trace.log"] = client["data/kept"] = "?";
    client[".vandrel-updater/job/staging.transaction"] = "?";
    client["modules/[a-z].lua"] = client["modules/b.lua"] = client["layouts/\u00e9.ui"] = client["layouts/ab.ui"] = "?";
    make_folder(client);
    fs::create_directory_symlink("/", folder_ / "root");
    fs::create_directories(folder_ / "data/hollow");
    const Outcome outcome =
        publish("1", {"--skip", "notes.txt", "--skip", "*.log", "--skip", ".vandrel-updater/", "--skip", "root",
                      "--skip", "x?", "--skip", "init.lua/", "--skip", "modules/[a-z].lua", "--skip", "layouts/?.ui"});
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.out,
              "skipped .vandrel-updater/\nskipped data/deep/trace.log\nskipped data/trace.log\n"
              "skipped layouts/\u00e9.ui\nskipped modules/[a-z].lua\nskipped notes.txt\nskipped root\n"
              "note: data/hollow/ is empty and not part of the release\nnote: --skip x? matched nothing\n"
              "note: --skip init.lua/ matched nothing\n"
              "published release 1: 5 files, 18 bytes, manifest 674 bytes\n");
    EXPECT_EQ(everything_in(tree_ / "64/releases/1/files"), (Files{{"init.lua", client["init.lua"]},
                                                                   {"brindler_dx_x64.exe", "client"},
                                                                   {"data", "folder"},
                                                                   {"data/kept", "?"},
                                                                   {"layouts", "folder"},
                                                                   {"layouts/ab.ui", "?"},
                                                                   {"modules", "folder"},
                                                                   {"modules/b.lua", "?"}}));
}

TEST_F(Publish, the_tree_can_be_read_by_everybody_whatever_the_umask) {
    Files client = smallest_client();
    client["data/a"] = "a";
    make_folder(client);
    fs::permissions(folder_ / "data/a", fs::perms::owner_all);
    const mode_t before = ::umask(077);
    EXPECT_EQ(publish("1").exit_code, 0);
    EXPECT_EQ(::umask(before), 077U);
    for (const fs::directory_entry& found : fs::recursive_directory_iterator(top_ / "tree")) {
        EXPECT_EQ(static_cast<unsigned>(found.status().permissions()), found.is_directory() ? 0755U : 0644U) << found;
    }
}

TEST_F(Publish, an_older_release_becomes_current_only_on_demand) {
    make_folder({{"init.lua", "1"}, {"brindler_gl_x64.exe", "2"}, {"data/b", "3"}, {"data/a", "4"}});
    ASSERT_EQ(publish("9").exit_code, 0);
    EXPECT_EQ(publish("8").err, "vandrel-release: release 8 is not newer than release 9 (see --allow-older)\n");
    EXPECT_EQ(read(tree_ / "64/current"), "9\n");
    EXPECT_EQ(publish("8", {"--allow-older"}).err, "");
    EXPECT_EQ(read(tree_ / "64/current"), "8\n");
    EXPECT_EQ(publish("9", {"--allow-older"}).err, "vandrel-release: release 9 is published already\n");
    EXPECT_EQ(publish("10").exit_code, 0);
    EXPECT_EQ(read(tree_ / "64/current"), "10\n");
    // The same folder gives the same signed bytes, but for the number.
    std::string eighth = read(tree_ / "64/releases/8/manifest.bin");
    std::string tenth = read(tree_ / "64/releases/10/manifest.bin");
    EXPECT_EQ(eighth.substr(8, eighth.size() - 384 - 8), tenth.substr(8, tenth.size() - 384 - 8));
}

// Files larger than a limit can't be written while it stands.
class FileSizeLimit {
 public:
    explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

 private:
    rlimit before_{};
    void (*handler_)(int);
};

TEST_F(Publish, a_failure_in_the_middle_leaves_the_tree_as_it_was) {
    make_folder(smallest_client());
    ASSERT_EQ(publish("1").exit_code, 0);
    const Files before = everything_in(tree_);
    write(folder_ / "data/large", std::string(100000, 'x'));
    {
        const FileSizeLimit limit(65536);
        const Outcome outcome = publish("2");
        EXPECT_EQ(outcome.exit_code, 1);
        EXPECT_EQ(outcome.err, "vandrel-release: cannot write " + tree_.string() +
                                   "/64/releases/.publishing/release/files/data/large: File too large\n");
    }
    EXPECT_EQ(everything_in(tree_), before);
}

TEST_F(Publish, one_publication_at_a_time_and_what_a_killed_one_left_is_swept) {
    make_folder(smallest_client());
    {
        const vandrel_release::Publication other(tree_);
        EXPECT_EQ(publish("1").err, "vandrel-release: another publication into this tree is under way\n");
        EXPECT_TRUE(fs::exists(other.staging()));  // it is the other's
    }
    write(tree_ / "64/releases/.publishing/release/files/data/half", "half");
    write(tree_ / "64/current.new-1", "1");
    ASSERT_EQ(publish("1").exit_code, 0);
    EXPECT_FALSE(fs::exists(tree_ / "64/releases/.publishing"));
    EXPECT_FALSE(fs::exists(tree_ / "64/current.new-1"));
    EXPECT_FALSE(fs::exists(tree_ / "64/releases/1/files/data"));
    EXPECT_EQ(read(tree_ / "64/current"), "1\n");
}

TEST(ManifestFormat, the_limits_hold_at_the_last_byte_and_at_the_last_file) {
    using vandrel_release::ReleaseFile;
    std::vector<ReleaseFile> files(4095, ReleaseFile{std::string(4054, 'a'), 0, {}});
    const std::uint64_t missing = vandrel_release::kMaxManifestBytes - vandrel_release::manifest_size(files);
    ASSERT_GT(missing, 43U);
    ASSERT_LE(missing, 42U + vandrel_release::kMaxPathBytes);
    files.push_back({std::string(missing - 42, 'b'), 0, {}});
    EXPECT_EQ(vandrel_release::signed_range(1, files).size(), 16777216U - 390U);
    files.back().path += 'b';
    EXPECT_THROW(vandrel_release::signed_range(1, files), vandrel_release::Refusal);

    files.assign(100000, ReleaseFile{"data/a", 0, {}});
    EXPECT_EQ(vandrel_release::signed_range(1, files).size(), 12U + 100000U * 48U);
    files.push_back(files.back());
    EXPECT_THROW(vandrel_release::signed_range(1, files), vandrel_release::Refusal);
}

TEST(ManifestFormat, every_cut_manifest_is_refused_and_a_byte_too_many_as_well) {
    const std::string range = vandrel_release::signed_range(3, {{"init.lua", 5, {}}, {"data/a", 0, {}}});
    const std::string whole = vandrel_release::finished_manifest(range, std::string(384, 's'));
    EXPECT_EQ(vandrel_release::list_manifest(whole).files.at(1).path, "data/a");
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_THROW(vandrel_release::list_manifest(whole.substr(0, length)), vandrel_release::Refusal) << length;
    }
    EXPECT_THROW(vandrel_release::list_manifest(whole + "x"), vandrel_release::Refusal);
}

}  // namespace
}  // namespace release_test
