#include "winsim/player/exchanges.h"

#include <mutex>
#include <set>

#include "winsim/explore/parallel.h"

namespace player {
namespace {

using winsim::explore::Damage;
using winsim::explore::Interference;

void add(ExchangeCounts& counts, const Damage& damage, std::uint64_t places) {
    counts.exchanged += places;
    counts.damage.deletions += damage.deletion.empty() ? 0 : places;
    counts.damage.renames += damage.rename.empty() ? 0 : places;
    counts.damage.writes += damage.write.empty() ? 0 : places;
    for (const std::string& call : std::set{damage.deletion, damage.rename, damage.write}) {
        if (!call.empty()) counts.by_call[call] += places;
    }
}

}  // namespace

ExchangeCounts count_exchanges(const StartRun& start, const std::string& action) {
    const std::unique_ptr<UpdateRun> quiet = start();
    const std::wstring folder = quiet->folder_in_use(action.substr(action.find(',') + 1));
    const auto places = winsim::explore::exchange_places(*quiet, folder);
    ExchangeCounts counts;
    std::size_t example = places.size();
    std::mutex mutex;
    winsim::explore::for_each_index(places.size(), [&](std::size_t i) {
        const std::unique_ptr<UpdateRun> run = start();
        run->expect_exchange();
        const winsim::explore::Disturbance disturbance = Interference{action, places[i].process, places[i].call};
        const bool exchanged = run_with(*run, disturbance);
        const std::string wrong = run->wrong_ending();
        const std::scoped_lock lock(mutex);
        counts.places += places[i].count;
        if (exchanged) add(counts, run->damage(), places[i].count);
        if (exchanged && i < example && !run->damage().text().empty()) {
            example = i;
            counts.example = text_of(disturbance);
        }
        if (!wrong.empty()) counts.wrong[text_of(disturbance)] = wrong;
    });
    return counts;
}

namespace {

std::string text_of(const Exchanges& damage) {
    return std::to_string(damage.deletions) + " deletions, " + std::to_string(damage.renames) + " renames, " +
           std::to_string(damage.writes) + " writes";
}

}  // namespace

void hold_exchanges(const std::string& story, const StartRun& start, const std::string& action,
                    const Exchanges& expected, winsim::explore::Report& report) {
    const ExchangeCounts counts = count_exchanges(start, action);
    report.count("exchanges: places", counts.places);
    report.count("exchanges: done", counts.exchanged);
    for (const auto& [disturbance, wrong] : counts.wrong) report.violated(story + ":" + disturbance, wrong);
    if (counts.damage == expected) return;
    report.violated(story + ":" + counts.example,
                    action + ": " + text_of(counts.damage) + ", expected " + text_of(expected));
}

void hold_window(const std::string& story, const StartRun& start, const ExchangeWindow& window,
                 winsim::explore::Report& report) {
    const ExchangeCounts counts = count_exchanges(start, window.action);
    std::uint64_t places = 0;
    for (const auto& [text, times] : counts.by_call) {
        const bool is_meant = text.starts_with(window.call) && text.find(window.part) != std::string::npos;
        if (is_meant) places += times;
    }
    if (places == window.places) return;
    std::string wrong = window.call;
    wrong.append(" of ").append(window.part).append(": ").append(std::to_string(places)).append(" places");
    report.violated(story + ":" + counts.example, wrong);
}

}  // namespace player
