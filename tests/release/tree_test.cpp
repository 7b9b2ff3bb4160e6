// The tree's changes one by one: what each leaves, and what it refuses.
#include "release/tree.h"

#include <functional>

#include "release/refusal.h"
#include "release/tree_changes.h"
#include "release_test.h"

namespace release_test {
namespace {

using namespace vandrel_release;

class Tree : public ReleaseTest {
 protected:
    void commit(std::uint32_t release, MakeCurrent current) {
        Publication publication(tree_);
        write(publication.staging() / "manifest.bin", "manifest");
        publication.commit(release, current);
    }

    void keep_unsigned(std::uint32_t release) {
        Publication publication(tree_);
        write(publication.staging() / "files/a", "file");
        publication.keep_unsigned(release, "range");
    }

    // The words of the refusal; nothing in the tree has changed by it.
    std::string refusal(const std::function<void()>& change) {
        const Files before = everything_in(tree_);
        std::string words = "not refused";
        try {
            change();
        } catch (const Refusal& refusal) {
            words = refusal.what();
        }
        EXPECT_EQ(everything_in(tree_), before);
        return words;
    }
};

TEST_F(Tree, a_release_without_signature_waits_unseen_until_it_is_adopted_or_removed) {
    commit(3, MakeCurrent::yes);
    keep_unsigned(4);
    keep_unsigned(5);
    EXPECT_EQ(unsigned_range(tree_, 4), "range");
    EXPECT_EQ(releases_in(tree_), std::vector<std::uint32_t>{3});
    EXPECT_EQ(newest_release(tree_), 5U);
    adopt_unsigned(TreeLock(tree_), 4, "signed", "key", MakeCurrent::no);
    EXPECT_EQ(read(tree_ / "64/current"), "3\n");
    adopt_unsigned(TreeLock(tree_), 5, "signed", "key", MakeCurrent::yes);
    EXPECT_EQ(read(tree_ / "64/current"), "5\n");
    remove_release(TreeLock(tree_), 3);
    Files expected{{"64", "folder"}, {"64/current", "5\n"}, {"64/releases", "folder"}};
    for (const std::string release : {"64/releases/4", "64/releases/5"}) {
        expected[release] = expected[release + "/files"] = "folder";
        expected[release + "/manifest.bin"] = "signed";
        expected[release + "/public.pem"] = "key";
        expected[release + "/files/a"] = "file";
    }
    EXPECT_EQ(everything_in(tree_), expected);
    keep_unsigned(6);
    remove_unsigned(TreeLock(tree_), 6);
    EXPECT_EQ(everything_in(tree_), expected);
}

TEST_F(Tree, each_change_refuses_what_would_break_its_rules) {
    commit(1, MakeCurrent::no);
    commit(2, MakeCurrent::yes);
    keep_unsigned(3);
    EXPECT_EQ(refusal([&] { make_current(TreeLock(tree_), 3); }), "the tree holds no release 3");
    EXPECT_EQ(refusal([&] { remove_release(TreeLock(tree_), 3); }), "the tree holds no release 3");
    EXPECT_EQ(refusal([&] { remove_release(TreeLock(tree_), 2); }), "release 2 is the current one");
    const std::string idle = "release 2 does not wait for a signature";
    EXPECT_EQ(refusal([&] { adopt_unsigned(TreeLock(tree_), 2, "", "", MakeCurrent::no); }), idle);
    EXPECT_EQ(refusal([&] { remove_unsigned(TreeLock(tree_), 2); }), idle);
    EXPECT_THROW(unsigned_range(tree_, 2), Refusal);
    EXPECT_EQ(refusal([&] {
                  [[maybe_unused]] TreeLock lock(tree_);
                  commit(4, MakeCurrent::yes);
              }),
              "another publication into this tree is under way");
    for (const auto& [release, words] :
         {std::pair(1U, "release 1 is published already"), std::pair(3U, "release 3 waits for its signature")}) {
        EXPECT_EQ(refusal([&, number = release] { commit(number, MakeCurrent::yes); }), words);
        EXPECT_EQ(refusal([&, number = release] { keep_unsigned(number); }), words);
    }
}

}  // namespace
}  // namespace release_test
