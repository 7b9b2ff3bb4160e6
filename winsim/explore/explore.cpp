#include "winsim/explore/explore.h"

#include <cstdio>
#include <stdexcept>

#include "winsim/explore/parallel.h"
#include "winsim/trace_text.h"

namespace winsim::explore {
namespace {

void print_names(const Snapshot& disk) {
    Disk looked_at;
    looked_at.restore(disk);
    for (const std::wstring& path : looked_at.tree(L"C:\\")) std::printf("    %s\n", readable(path).c_str());
}

}  // namespace

void sweep(const Scenario& scenario, const std::vector<Disturbance>& disturbances, Report& report) {
    for_each_index(disturbances.size(), [&](std::size_t i) {
        if (report.enough()) return;
        const std::unique_ptr<Run> run = scenario.start(scenario.disk, 1);
        const bool came = run_with(*run, disturbances[i]);
        const std::string wrong = scenario.wrong_after_run(*run, disturbances[i], came);
        if (!wrong.empty()) report.violated(scenario.name + ":" + text_of(disturbances[i]), wrong);
    });
    report.count("cases", disturbances.size());
}

std::string replay(const Scenario& scenario, const Schedule& schedule) {
    Snapshot disk = scenario.disk;
    std::string wrong;
    int number = 0;
    for (const Disturbance& disturbance : schedule) {
        const std::unique_ptr<Run> run = scenario.start(disk, ++number);
        bool came = false;
        run_traced(*run, number, [&] { came = run_with(*run, disturbance); });
        const bool cut = std::holds_alternative<Cut>(disturbance);
        if (cut && !came) throw std::invalid_argument("the run never comes to " + text_of(disturbance));
        disk = run->world().disk.snapshot();
        if (cut) {
            std::printf("after %s:\n", text_of(disturbance).c_str());
            print_names(disk);
        }
        if (number != static_cast<int>(schedule.size())) continue;
        wrong = cut ? scenario.wrong_after_cut(disk, number) : scenario.wrong_after_run(*run, disturbance, came);
    }
    return wrong;
}

}  // namespace winsim::explore
