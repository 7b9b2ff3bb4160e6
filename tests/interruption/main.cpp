// The crash exploration's command line.
#include <malloc.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "tests/interruption/scenarios.h"
#include "tests/interruption/walk.h"

namespace {

using interruption::Depth;

//                     second cuts   calls  allocations, neighbours, walks, exchanges
constexpr Depth kQuick{0, 0, 0, 2, 0, 96, 60, false};
constexpr Depth kDefault{4, 64, 8, 1, 90, 48, 300, false};
constexpr Depth kFull{1, 1, 1, 1, 1, 1, 20000, true};

struct Arguments {
    bool full = false;
    bool quick = false;
    bool first = false;
    bool harsh = false;
    std::vector<std::string> only;  // "cuts", "faults", "neighbours", "exchanges", "walk"; empty: all
    std::string replay;
    std::uint64_t seed = 0;
    bool walk = false;
    std::uint64_t histories = kDefault.walks;
    std::size_t most = 40;
};

constexpr const char* kFooter =
    "Stories: update restoration cancelled withdrawn taken-back scanned\n"
    "Replays:\n"
    "  update:c117a-3/5+torn:f48b-0/2+kept   cuts in two runs (f first instance, c copy; b before, a after, i1 "
    "inside)\n"
    "  taken-back:c117=32                    call 117 of the copy fails with error 32\n"
    "  update:c=n1234                        allocation 1234 of the copy fails\n"
    "  update:c117@edited,data/big.dat       somebody acts before call 117 of the copy: see neighbours.h\n"
    "  update:@scanner,3,200,0               somebody acts from the beginning on\n"
    "  update:c117@moved,files/data          somebody exchanges a folder for a junction: see player/exchanges.h\n"
    "  walk:1:17                             history 17 of the walk with seed 1\n";

// Keeps the memory of one run for the next one: handing it back to the system each time costs more than the run.
void keep_memory() {
    mallopt(M_MMAP_THRESHOLD, 64 << 20);
    mallopt(M_TRIM_THRESHOLD, 512 << 20);
}

int replay(const std::string& what) {
    const auto traced = [](winsim::explore::Dice& dice) { return interruption::wrong_in_walk(dice, true); };
    const std::string wrong = what.starts_with("walk:") ? winsim::explore::replay_walk(what, traced)
                                                        : interruption::Exploration().replay(what);
    std::printf("%s\n", wrong.empty() ? "whole" : wrong.c_str());
    return wrong.empty() ? 0 : 1;
}

void walk(std::uint64_t seed, std::uint64_t histories, winsim::explore::Report& report) {
    const auto silent = [](winsim::explore::Dice& dice) { return interruption::wrong_in_walk(dice, false); };
    winsim::explore::walk(seed, histories, silent, report);
}

void explore(const Arguments& arguments, interruption::Exploration& exploration) {
    const Depth& depth = arguments.full ? kFull : arguments.quick ? kQuick : kDefault;
    const auto wanted = [&](const char* kind) {
        return !exploration.report.enough() &&
               (arguments.only.empty() || std::ranges::count(arguments.only, kind) != 0);
    };
    if (wanted("cuts")) exploration.cuts(depth);
    if (wanted("faults")) exploration.faults(depth);
    if (wanted("neighbours")) exploration.neighbours(depth);
    if (wanted("exchanges") && !arguments.quick) exploration.exchanges(depth);
    if (wanted("walk")) walk(1, depth.walks, exploration.report);
}

int run(const Arguments& arguments) {
    if (!arguments.replay.empty()) return replay(arguments.replay);
    interruption::Exploration exploration;
    exploration.report.first_only = arguments.first;
    const auto start = std::chrono::steady_clock::now();
    if (arguments.walk) {
        walk(arguments.seed, arguments.histories, exploration.report);
    } else if (arguments.harsh) {
        exploration.harsher_cuts();
    } else {
        explore(arguments, exploration);
    }
    exploration.report.print(arguments.most);
    const auto passed = std::chrono::steady_clock::now() - start;
    std::printf("%12.1f  seconds\n", std::chrono::duration<double>(passed).count());
    return exploration.report.violation_count() == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    keep_memory();
    Arguments arguments;
    CLI::App app{"Interrupts updates and restorations in every way, and looks whether the folder is whole again."};
    app.footer(kFooter);
    app.add_flag("--full", arguments.full, "everything, not the default run's choice");
    app.add_flag("--quick", arguments.quick, "a part of the default run, in a few seconds");
    app.add_flag("--first", arguments.first, "stop at the first violation");
    app.add_option("--only", arguments.only,
                   "some kinds, with commas between them: cuts, faults, neighbours, exchanges, walk")
        ->delimiter(',')
        ->check(CLI::IsMember({"cuts", "faults", "neighbours", "exchanges", "walk"}));
    app.add_flag("--harsh", arguments.harsh,
                 "cuts where the rules don't stand: names lost independently of each other");
    app.add_option("--replay", arguments.replay, "one case, with its calls");
    CLI::Option* walking = app.add_option("--walk", arguments.seed, "random walks with this seed");
    app.add_option("--histories", arguments.histories, "how many there are")->needs(walking);
    app.add_option("--most", arguments.most, "how many violations are printed");
    CLI11_PARSE(app, argc, argv);
    arguments.walk = walking->count() != 0;
    try {
        return run(arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "interruption: %s\n", error.what());
        return 2;
    }
}
