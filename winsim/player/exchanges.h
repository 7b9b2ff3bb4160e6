// The folders that a run of the helper works in, exchanged for junctions at every place between two of its calls.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "winsim/explore/exchanges.h"
#include "winsim/explore/report.h"
#include "winsim/player/update_run.h"

namespace player {

using StartRun = std::function<std::unique_ptr<UpdateRun>()>;

// Places at which an exchange does damage; one may count for more than one kind.
struct Exchanges {
    std::uint64_t deletions = 0;
    std::uint64_t renames = 0;
    std::uint64_t writes = 0;

    bool operator==(const Exchanges&) const = default;
};

// Of one folder in one run.
struct ExchangeCounts {
    std::uint64_t places = 0;     // at which the folder stood
    std::uint64_t exchanged = 0;  // of them, those at which nobody's handle forbade it
    Exchanges damage;
    std::map<std::string, std::uint64_t> by_call;  // places by each call that was the first of a kind
    std::string example;                           // the first disturbance that did damage
    std::map<std::string, std::string> wrong;      // by the disturbance that led there: runs that ended in disorder
};

// Runs once for each place, with the action "moved,NAME" or "emptied,NAME" of UpdateRun::interfere.
ExchangeCounts count_exchanges(const StartRun& start, const std::string& action);

// Other counts than those expected are a violation, with an example to be replayed; so is a run in disorder.
void hold_exchanges(const std::string& story, const StartRun& start, const std::string& action,
                    const Exchanges& expected, winsim::explore::Report& report);

// The places at which the exchange leads to a call of that name on what lies behind, its text holding `part`.
struct ExchangeWindow {
    const char* action;
    const char* call;
    const char* part;
    std::uint64_t places;
};
void hold_window(const std::string& story, const StartRun& start, const ExchangeWindow& window,
                 winsim::explore::Report& report);

}  // namespace player
