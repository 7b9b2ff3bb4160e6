// Drafts, going live, taking a release back, and what stays in the tree.
#include <fcntl.h>
#include <sys/stat.h>

#include <sstream>

#include "release/progress.h"
#include "release/signing_key.h"
#include "release/tree.h"
#include "release/tree_changes.h"
#include "release_test.h"

namespace release_test {
namespace {

class GoingLive : public ReleaseTest {
 protected:
    // A release with one file of its own beside those that all have.
    Outcome publish_with(const std::string& release, const Files& own, const std::vector<std::string>& more = {}) {
        Files client = smallest_client();
        client.insert(own.begin(), own.end());
        make_folder(client);
        return publish(release, more);
    }

    Outcome command(std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--tree", tree_.string()});
        return run(arguments);
    }

    fs::path in_tree(const std::string& release, const std::string& path) const {
        return tree_ / "64/releases" / release / path;
    }

    std::uint64_t inode(const std::string& release, const std::string& path) const {
        struct stat status {};
        EXPECT_EQ(::stat(in_tree(release, "files/" + path).c_str(), &status), 0);
        return status.st_ino;
    }
};

TEST_F(GoingLive, a_draft_is_seen_by_nobody_until_it_is_activated_and_an_older_release_comes_back) {
    publish_with("1", {{"data/a", "1"}});
    EXPECT_EQ(publish_with("2", {{"data/a", "2"}}, {"--draft"}).out,
              "kept as a draft: release 2: 3 files, 16 bytes, manifest 561 bytes\n");
    EXPECT_EQ(read(tree_ / "64/current"), "1\n");
    EXPECT_EQ(command({"activate", "2"}).out, "release 2 is current\n");
    EXPECT_EQ(read(tree_ / "64/current"), "2\n");
    EXPECT_EQ(command({"activate", "1"}).err, "");
    EXPECT_EQ(read(tree_ / "64/current"), "1\n");
    EXPECT_EQ(command({"activate", "3"}).err, "vandrel-release: the tree holds no release 3\n");
    EXPECT_EQ(command({"activate", "01"}).exit_code, 2);
    EXPECT_EQ(run({"activate", "1", "--tree", folder_.string()}).err,
              "vandrel-release: " + folder_.string() + " is not a tree\n");
}

TEST_F(GoingLive, a_release_is_activated_only_as_it_was_signed_with_the_current_key) {
    publish_with("1", {});
    const vandrel_release::Key own = vandrel_release::make_rsa_key(3072);
    write(top_ / "own.pem", vandrel_release::public_pem(own));
    publish_with("2", {{"data/a", "x"}}, {"--draft"});
    const std::string signature =
        "vandrel-release: release 2: manifest.bin: the signature does not verify with the key\n";
    EXPECT_EQ(command({"activate", "2", "--public", (top_ / "own.pem").string()}).err, signature);
    fs::copy(top_ / "own.pem", in_tree("1", "public.pem"), fs::copy_options::overwrite_existing);
    EXPECT_EQ(command({"activate", "2"}).err, signature);
    write(in_tree("2", "files/data/a"), "y");
    EXPECT_EQ(command({"activate", "2", "--public", in_tree("2", "public.pem").string()}).err,
              "vandrel-release: release 2: data/a: has another content\n");
    EXPECT_EQ(read(tree_ / "64/current"), "1\n");
}

TEST_F(GoingLive, every_difference_from_what_was_signed_is_named) {
    publish_with("1", {{"data/a", "a1"}, {"data/b", "b1"}, {"data/c", "c1"}});
    publish_with("2", {{"data/a", "a2"}});
    EXPECT_EQ(command({"verify-tree"}).out,
              "release 1: 5 files, 21 bytes, as signed\nrelease 2: 3 files, 17 bytes, as signed, current\n");
    fs::remove(in_tree("1", "files/data/a"));
    write(in_tree("1", "files/data/b"), "longer");
    write(in_tree("1", "files/data/c"), "c2");
    write(in_tree("1", "files/data/more"), "");
    fs::create_directory_symlink("/", in_tree("1", "files/data/out"));
    write(in_tree("1", "public.pem"), "");
    fs::copy(in_tree("1", "manifest.bin"), in_tree("2", "manifest.bin"), fs::copy_options::overwrite_existing);
    fs::remove(in_tree("2", "public.pem"));
    ::mkfifo(in_tree("2", "public.pem").c_str(), 0644);
    fs::create_directories(in_tree("3", ""));
    write(tree_ / "64/current", "4\n");
    const Outcome outcome = command({"verify-tree"});
    const std::string manifest = in_tree("3", "manifest.bin").string();
    const std::string lines[] = {
        "current: names release 4, which the tree does not hold",
        "release 1: data/a: is missing",
        "release 1: data/b: has 6 bytes, not 2",
        "release 1: data/c: has another content",
        "release 1: data/more: is not in the manifest",
        "release 1: data/out: is not in the manifest",
        "release 1: public.pem: " + in_tree("1", "public.pem").string() + " holds no key in PEM",
        "release 2: data/a: has another content",
        "release 2: data/b: is missing",
        "release 2: data/c: is missing",
        "release 2: manifest.bin: is that of release 1",
        "release 2: public.pem: " + in_tree("2", "public.pem").string() + " is not a regular file",
        "release 3: manifest.bin: cannot open " + manifest + ": No such file or directory"};
    std::string expected;
    for (const std::string& line : lines) expected += "vandrel-release: " + line + "\n";
    EXPECT_EQ(outcome.err, expected);
    EXPECT_EQ(outcome.exit_code, 1);
}

TEST_F(GoingLive, pruning_keeps_the_newest_and_the_current_and_says_since_when_the_others_are_unused) {
    for (const char* release : {"1", "2", "3", "4"}) publish_with(release, {});
    const timespec old[] = {{1000000000, 0}, {1000000000, 0}};
    ::utimensat(AT_FDCWD, in_tree("3", "").c_str(), old, 0);
    ASSERT_EQ(command({"activate", "2"}).err, "");
    for (const char* release : {"1", "4"}) ::utimensat(AT_FDCWD, in_tree(release, "").c_str(), old, 0);
    const std::string rest = " release 1, out of use since 2001-09-09T01:46:40Z\n";
    EXPECT_EQ(command({"prune", "--keep", "2", "--dry-run"}).out, "would remove" + rest);
    EXPECT_TRUE(fs::exists(in_tree("1", "")));
    EXPECT_EQ(command({"prune", "--keep", "2"}).out, "removed" + rest);
    EXPECT_EQ(vandrel_release::releases_in(tree_), (std::vector<std::uint32_t>{2, 3, 4}));
    EXPECT_EQ(command({"activate", "3"}).err, "");  // the third leaves nobody without files
    EXPECT_EQ(command({"prune", "--keep", "1"}).out.substr(0, 37), "removed release 2, out of use since 2");
    EXPECT_EQ(vandrel_release::releases_in(tree_), (std::vector<std::uint32_t>{3, 4}));
    EXPECT_EQ(command({"prune", "--keep", "0"}).exit_code, 2);
    EXPECT_EQ(command({"prune"}).err, "vandrel-release: --keep or --unsigned is required\n");
    vandrel_release::Publication(tree_).keep_unsigned(5, "range");
    EXPECT_EQ(command({"prune", "--unsigned", "5"}).out, "removed release 5, which waited for its signature\n");
    EXPECT_FALSE(vandrel_release::is_waiting(tree_, 5));
}

TEST_F(GoingLive, a_file_that_has_not_changed_takes_no_room) {
    const std::string large(2500000, 'x');
    publish_with("1", {{"data/large", large}, {"data/tail", large + "1"}, {"data/closed", "c"}, {"data/size", "1"}});
    fs::permissions(in_tree("1", "files/data/closed"), fs::perms::owner_read);
    const Files second{{"data/large", large}, {"data/tail", large + "2"}, {"data/closed", "c"}, {"data/size", "12"}};
    EXPECT_EQ(publish_with("2", second).err, "");
    for (const auto& [path, content] : second) {
        EXPECT_EQ(read(in_tree("2", "files/" + path)), content) << path;
        EXPECT_EQ(inode("1", path) == inode("2", path), path == "data/large") << path;
    }
    EXPECT_EQ(read(in_tree("1", "files/data/tail")), large + "1");
    EXPECT_EQ(command({"verify-tree"}).err, "");
    // A file that was damaged in the tree is no model for the next release.
    write(in_tree("2", "files/data/size"), "13");
    EXPECT_EQ(publish_with("3", second).err, "");
    EXPECT_EQ(read(in_tree("3", "files/data/size")), "12");
}

TEST(Progress, a_line_tells_files_bytes_rate_and_the_time_that_is_left) {
    using vandrel_release::progress_line;
    EXPECT_EQ(progress_line("publishing", {5, 1500000}, {10, 3000000}, 3000),
              "publishing: 5 of 10 files, 1.5 of 3.0 MB, 0.5 MB/s, 3 s left");
    EXPECT_EQ(progress_line("verifying", {5, 1500000}, {10, 3000000}, 499), "verifying: 5 of 10 files, 1.5 of 3.0 MB");
    EXPECT_EQ(progress_line("verifying", {1, 0}, {10, 0}, 900), "verifying: 1 of 10 files, 0.0 of 0.0 MB");
    std::ostringstream out;
    { vandrel_release::Progress(&out, "x", 1, 1).add_file(); }
    EXPECT_EQ(out.str(), "\r\x1B[K");  // cleared, and too early to show anything
}

}  // namespace
}  // namespace release_test
