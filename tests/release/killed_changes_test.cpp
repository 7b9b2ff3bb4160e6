// A change of the tree that is killed at any of its system calls leaves the tree as it was, or as it was to be.
#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <set>

#include "release/tree.h"
#include "release_test.h"

namespace release_test {
namespace {

// The calls by which a program changes folders and files, or makes changes durable.
bool changes_files(std::uint64_t call, const std::uint64_t* arguments) {
    static const std::set<std::uint64_t> kCalls{SYS_mkdir,     SYS_mkdirat, SYS_rmdir,    SYS_unlink,   SYS_unlinkat,
                                                SYS_rename,    SYS_link,    SYS_renameat, SYS_write,    SYS_fsync,
                                                SYS_utimensat, SYS_syncfs,  SYS_linkat,   SYS_renameat2};
    if (call == SYS_openat) return (arguments[2] & O_CREAT) != 0;
    if (call == SYS_open) return (arguments[1] & O_CREAT) != 0;
    return kCalls.contains(call);
}

// Whether the stopped thread enters a call that changes files.
bool enters_a_change(pid_t thread) {
    __ptrace_syscall_info info{};
    ::ptrace(PTRACE_GET_SYSCALL_INFO, thread, sizeof(info), &info);
    return info.op == PTRACE_SYSCALL_INFO_ENTRY && changes_files(info.entry.nr, info.entry.args);
}

// Runs a command in a process of its own and kills it when it enters its call number `kill_at` that changes files.
// Gives the number of such calls that it came to; less than `kill_at` if it ended by itself.
int run_killed(const std::vector<std::string>& arguments, int kill_at) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        ::raise(SIGSTOP);
        ::_exit(run(arguments).exit_code);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACECLONE | PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
    int calls = 0;
    for (pid_t thread = 0; (thread = ::waitpid(-1, &status, __WALL)) > 0;) {
        if (thread == child && !WIFSTOPPED(status)) break;
        if (!WIFSTOPPED(status)) continue;
        if (WSTOPSIG(status) == (SIGTRAP | 0x80) && enters_a_change(thread) && ++calls == kill_at) {
            ::kill(child, SIGKILL);
        }
        ::ptrace(PTRACE_SYSCALL, thread, nullptr, nullptr);
    }
    return calls;
}

class KilledChanges : public ReleaseTest {
 protected:
    // The tree but for what is left over and for signatures, which differ from run to run.
    Files served() const {
        Files found = everything_in(tree_);
        std::erase_if(found, [](const auto& entry) {
            return entry.first.find("/.") != std::string::npos || entry.first.find(".new-") != std::string::npos;
        });
        for (auto& [path, content] : found) {
            if (path.ends_with("manifest.bin")) content.resize(content.size() - 384);
        }
        return found;
    }

    // What stands in the tree without being a release, or release 2 while it waits for its signature.
    std::size_t left_over() const {
        Files found = everything_in(tree_);
        const std::size_t waiting = std::erase_if(
            found, [](const auto& entry) { return entry.first.find("/.unsigned-2") != std::string::npos; });
        EXPECT_TRUE(waiting == 0 || vandrel_release::is_waiting(tree_, 2));
        EXPECT_TRUE(waiting == 0 || !fs::exists(tree_ / "64/releases/2"));
        return found.size() - served().size();
    }

    // Kills `command` at each of its calls, each time on the tree that `prepare` makes anew; `outcomes` are the trees
    // that it may leave, in the order in which it comes to them. Another change sweeps what is left over.
    void sweep(const std::vector<std::string>& command, const std::function<void()>& prepare,
               const std::vector<Files>& outcomes) {
        std::size_t reached = 0;
        for (int kill_at = 1;; ++kill_at) {
            fs::remove_all(tree_);
            prepare();
            const bool ended = run_killed(command, kill_at) < kill_at;
            const Files found = served();
            if (reached + 1 < outcomes.size() && found != outcomes[reached]) ++reached;
            ASSERT_EQ(found, outcomes[reached]) << "killed at call " << kill_at;
            ASSERT_EQ(run({"prune", "--tree", tree_.string(), "--keep", "9"}).err, "");
            ASSERT_EQ(left_over(), 0U) << "after call " << kill_at;
            ASSERT_EQ(served(), found) << "after call " << kill_at;
            ASSERT_TRUE(kill_at > 1 || reached == 0) << "nothing is killed";
            if (ended) break;
            ASSERT_LT(kill_at, 500);
        }
        EXPECT_EQ(reached + 1, outcomes.size());
    }
};

TEST_F(KilledChanges, a_publication_leaves_the_old_release_or_the_new_one) {
    Files client = smallest_client();
    client["data/a"] = client["data/deep/b"] = "same";
    const auto prepare = [&] {
        make_folder(client);
        ASSERT_EQ(publish("1").err, "");
        write(folder_ / "data/a", "changed");
    };
    prepare();
    const Files old = served();
    ASSERT_EQ(publish("2", {"--draft"}).err, "");
    const Files draft = served();
    Files current = draft;
    current["64/current"] = "2\n";
    const std::vector<std::string> command{"publish",
                                           "--folder",
                                           folder_.string(),
                                           "--tree",
                                           tree_.string(),
                                           "--release",
                                           "2",
                                           "--key",
                                           private_key().string(),
                                           "--allow-development-key",
                                           "--without-helper"};
    sweep(command, prepare, {old, draft, current});
}

TEST_F(KilledChanges, a_release_gets_its_signature_or_goes_on_waiting) {
    fs::copy(fs::path(VANDREL_DEVELOPMENT_KEY).replace_filename("development_public.pem"), top_ / "public.pem");
    const std::string range = (top_ / "range").string(), key = (top_ / "public.pem").string();
    const auto prepare = [&] {
        make_folder(smallest_client());
        ASSERT_EQ(publish("1").err, "");
        fs::remove(range);
        fs::remove(range + ".sha256");
        ASSERT_EQ(run({"publish", "--folder", folder_.string(), "--tree", tree_.string(), "--release", "2",
                       "--unsigned", range, "--public", key, "--allow-development-key", "--without-helper"})
                      .err,
                  "");
    };
    prepare();
    const Files old = served();
    write(top_ / "signature", support::sign(read(range)));
    const std::vector<std::string> attach{
        "attach-signature", "--tree", tree_.string(), "--release", "2", "--signature", (top_ / "signature").string(),
        "--public",         key};
    ASSERT_EQ(run(attach).err, "");
    const Files current = served();
    Files draft = current;
    draft["64/current"] = "1\n";
    sweep(attach, prepare, {old, draft, current});
}

TEST_F(KilledChanges, pruning_and_activation_leave_whole_releases) {
    const auto prepare = [&] {
        make_folder(smallest_client());
        ASSERT_EQ(publish("1").err, "");
        ASSERT_EQ(publish("2").err, "");
    };
    prepare();
    const Files both = served();
    Files first = both;
    first["64/current"] = "1\n";
    sweep({"activate", "1", "--tree", tree_.string()}, prepare, {both, first});
    ASSERT_EQ(run({"activate", "2", "--tree", tree_.string()}).err, "");
    ASSERT_EQ(run({"prune", "--keep", "1", "--tree", tree_.string()}).err, "");
    sweep({"prune", "--keep", "1", "--tree", tree_.string()}, prepare, {both, served()});
}

}  // namespace
}  // namespace release_test
