// The crash exploration's command line.
#include <malloc.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "tests/interruption/faults.h"
#include "tests/interruption/neighbours.h"
#include "tests/interruption/power_cuts.h"
#include "tests/interruption/walk.h"

namespace {

using namespace interruption;

struct Arguments {
    bool full = false;
    bool quick = false;
    bool first = false;
    bool list = false;
    std::vector<std::string> only;  // "order", "cuts", "faults", "neighbours", "walk"; empty: all
    std::string replay;
    std::uint64_t seed = 0;
    bool walk = false;
    std::uint64_t lives = 0;
    std::uint64_t seconds = 0;
    std::size_t most = 40;
};

// What the default run takes of each kind; --full takes everything, --quick a part of what the default run takes.
constexpr Depth kQuickCuts{0, 0};
constexpr FaultDepth kQuickFaults{0, 2, 0};
constexpr NeighbourDepth kQuickNeighbours{96};
constexpr std::uint64_t kQuickWalks = 60;
constexpr Depth kDefaultCuts{4, 64};
constexpr FaultDepth kDefaultFaults{8, 1, 90};
constexpr NeighbourDepth kDefaultNeighbours{48};
constexpr std::uint64_t kDefaultWalks = 300;
constexpr std::uint64_t kFullWalks = 20000;

// Keeps the memory of one visit for the next one: handing it back to the system each time costs more than the visit.
void keep_memory() {
    mallopt(M_MMAP_THRESHOLD, 64 << 20);
    mallopt(M_TRIM_THRESHOLD, 512 << 20);
}

int replay(const std::string& what) {
    Judge judge(picture_of(disk_with_old_release()));
    std::string wrong;
    if (what.starts_with("fault:")) {
        wrong = replay_fault(judge, what.substr(6));
    } else if (what.starts_with("neighbour:")) {
        wrong = replay_neighbour(judge, what.substr(10));
    } else if (what.starts_with("walk:")) {
        const std::size_t colon = what.find(':', 5);
        if (colon == std::string::npos) throw std::invalid_argument("no walk: " + what);
        wrong = walk_one_life(std::stoull(what.substr(5)), std::stoull(what.substr(colon + 1)), true);
    } else {
        wrong = replay_power_cuts(judge, what);
    }
    std::printf("%s\n", wrong.empty() ? "whole" : wrong.c_str());
    return wrong.empty() ? 0 : 1;
}

int list() {
    std::printf("base lives: update restoration\nstories of faults:");
    for (const std::string& name : fault_stories()) std::printf(" %s", name.c_str());
    std::printf(
        "\nreplays:\n"
        "  update:c117a:3/5+torn:f48b:0/2+kept    cuts (f first instance, c copy; b before, a after, i1 inside)\n"
        "  fault:taken-back:c117=32               call 117 of the copy fails with error 32\n"
        "  fault:update:c=n1234                   allocation 1234 of the copy fails\n"
        "  neighbour:update:edited:data/big.dat:c117\n"
        "  neighbour:update:scanner-3-200-0       share, milliseconds, which file (0: each)\n"
        "  walk:1:17                              life 17 of the walk with seed 1\n");
    return 0;
}

void explore(const Arguments& arguments, Judge& judge, Report& report) {
    const auto wanted = [&](const char* kind) {
        return !report.enough() && (arguments.only.empty() || std::ranges::count(arguments.only, kind) != 0);
    };
    const auto choose = [&](const auto& quick, const auto& usual, const auto& full) {
        return arguments.full ? full : arguments.quick ? quick : usual;
    };
    if (wanted("order")) explore_harsher_losses(judge, report);
    if (wanted("cuts")) explore_power_cuts(judge, choose(kQuickCuts, kDefaultCuts, Depth{}), report);
    if (wanted("faults")) explore_faults(judge, choose(kQuickFaults, kDefaultFaults, FaultDepth{}), report);
    if (wanted("neighbours")) {
        explore_neighbours(judge, choose(kQuickNeighbours, kDefaultNeighbours, NeighbourDepth{}), report);
    }
    if (wanted("walk")) walk(1, choose(kQuickWalks, kDefaultWalks, kFullWalks), 0, report);
}

int run(const Arguments& arguments) {
    if (arguments.list) return list();
    if (!arguments.replay.empty()) return replay(arguments.replay);
    Judge judge(picture_of(disk_with_old_release()));
    Report report;
    report.first_only = arguments.first;
    const auto start = std::chrono::steady_clock::now();
    if (arguments.walk) {
        const bool unlimited = arguments.lives == 0 && arguments.seconds == 0;
        walk(arguments.seed, unlimited ? kDefaultWalks : arguments.lives, arguments.seconds, report);
    } else {
        explore(arguments, judge, report);
    }
    report.print_classes();
    report.print(arguments.most);
    const auto passed = std::chrono::steady_clock::now() - start;
    std::printf("%12.1f  seconds\n", std::chrono::duration<double>(passed).count());
    return report.violations() == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    keep_memory();
    Arguments arguments;
    CLI::App app{"Interrupts updates and restorations in every way, and looks whether the folder is whole again."};
    app.add_flag("--full", arguments.full, "everything, not the default run's choice");
    app.add_flag("--quick", arguments.quick, "a part of the default run, in a few seconds");
    app.add_flag("--first", arguments.first, "stop at the first violation");
    app.add_option("--only", arguments.only,
                   "some kinds, with commas between them: order, cuts, faults, neighbours, walk")
        ->delimiter(',')
        ->check(CLI::IsMember({"order", "cuts", "faults", "neighbours", "walk"}));
    app.add_flag_callback(
        "--harsh", [&] { arguments.only = {"order"}; },
        "names lost independently of each other: what breaks, by what loss");
    app.add_option("--replay", arguments.replay, "one case, with its calls");
    CLI::Option* walking = app.add_option("--walk", arguments.seed, "a random walk with this seed");
    app.add_option("--lives", arguments.lives, "how many lives the walk has")->needs(walking);
    app.add_option("--seconds", arguments.seconds, "how long it goes on")->needs(walking);
    app.add_option("--most", arguments.most, "how many violations are printed");
    app.add_flag("--list", arguments.list, "what there is, and how a replay is written");
    CLI11_PARSE(app, argc, argv);
    arguments.walk = walking->count() != 0;
    try {
        return run(arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "interruption: %s\n", error.what());
        return 2;
    }
}
