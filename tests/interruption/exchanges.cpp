#include "tests/interruption/exchanges.h"

#include <array>

#include "winsim/player/exchanges.h"

namespace interruption {
namespace {

constexpr std::array kStories{"update", "taken-back", "restoration"};

struct Row {
    const char* exchange;
    bool always;  // not in the full exploration alone
    std::array<player::Exchanges, kStories.size()> expected;
};
const Row kTable[]{
    //                             deletions, renames, writes: update, taken back, restoration
    {"moved,store", true, {{{189, 107, 127}, {189, 173, 109}, {7, 108, 0}}}},
    {"moved,job", true, {{{173, 88, 105}, {173, 153, 89}, {0, 104, 0}}}},
    {"moved,files", true, {{{161, 525, 49}, {161, 389, 49}, {0, 0, 0}}}},
    {"moved,files/data", true, {{{96, 460, 16}, {96, 460, 16}, {0, 0, 0}}}},
    {"moved,backup", true, {{{0, 0, 32}, {0, 75, 18}, {0, 100, 0}}}},
    {"moved,backup/data", true, {{{0, 0, 8}, {0, 48, 8}, {0, 48, 0}}}},
    {"moved,profiles", false, {{{248, 48, 12}, {248, 48, 12}, {186, 36, 12}}}},
    {"moved,profile", false, {{{256, 40, 10}, {256, 40, 10}, {192, 30, 10}}}},
    {"moved,updater", true, {{{264, 32, 8}, {264, 32, 8}, {198, 24, 8}}}},
    {"moved,copies", true, {{{0, 0, 7}, {0, 0, 7}, {16, 0, 10}}}},
    {"moved,copy", false, {{{0, 0, 5}, {0, 0, 5}, {0, 0, 5}}}},
    {"moved,data", true, {{{0, 36, 36}, {10, 114, 36}, {10, 78, 0}}}},
    {"moved,modules", false, {{{0, 0, 29}, {0, 0, 0}, {7, 0, 0}}}},
    {"emptied,store", false, {{{193, 107, 127}, {193, 173, 109}, {11, 108, 0}}}},
    {"emptied,job", false, {{{182, 88, 105}, {182, 153, 89}, {9, 104, 0}}}},
    {"emptied,files", false, {{{168, 525, 49}, {170, 389, 49}, {7, 0, 0}}}},
    {"emptied,files/data", false, {{{98, 460, 16}, {98, 460, 16}, {2, 0, 0}}}},
    {"emptied,backup", false, {{{11, 0, 32}, {5, 75, 18}, {7, 100, 0}}}},
    {"emptied,backup/data", false, {{{7, 0, 8}, {2, 48, 8}, {2, 48, 0}}}},
};

// One file's update.
constexpr player::ExchangeWindow kWindows[]{
    {"moved,files/data", "DeleteFileW", "big.dat.qmpart-", 24},  // a download that is refused clears its part away
    {"moved,files/data", "MoveFileExW", "data/big.dat", 4},      // it comes to the staged file's name
    {"moved,files/data", "ReplaceFileW", "data/big.dat", 128},   // the staged file comes to its target
    {"moved,data", "ReplaceFileW", "data/big.dat", 18},          // the target
    {"moved,backup", "ReplaceFileW", "data/big.dat", 5},         // its backup
    {"moved,backup/data", "ReplaceFileW", "data/big.dat", 4},
    {"moved,store", "DeleteFileW", "active.transaction", 17 + 5},  // its part, when it is refused; the record itself
    {"moved,store", "MoveFileExW", "active.transaction", 4},
    {"moved,store", "DeleteFileW", "backup", 2},                      // the folder's removal
    {"moved,updater", "DeleteFileW", "status.json.qmpart-", 8 * 33},  // the part of each of eight documents
    {"moved,updater", "MoveFileExW", "status.json", 4},
    {"moved,updater", "ReplaceFileW", "status.json", 7 * 4},
};

player::StartRun starter(const std::string& story) {
    return [story] {
        auto run = std::make_unique<HelperRun>(disk_of(story), kFirstRun);
        arrange(story, *run);
        return run;
    };
}

}  // namespace

void hold_exchanges(bool all, winsim::explore::Report& report) {
    for (const Row& row : kTable) {
        for (std::size_t i = 0; i < kStories.size() && (row.always || all); ++i) {
            player::hold_exchanges(kStories[i], starter(kStories[i]), row.exchange, row.expected[i], report);
        }
    }
    for (const auto& window : kWindows) player::hold_window("one-file", starter("one-file"), window, report);
}

}  // namespace interruption
