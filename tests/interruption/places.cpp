#include "tests/interruption/places.h"

#include <string>

#include "winsim/disk_names.h"

namespace interruption {

std::string_view place_of(std::wstring_view path) {
    struct Row {
        std::wstring_view pattern;
        std::string_view name;
    };
    static constexpr Row rows[] = {
        {L"*.qmpart-*", "part"},
        {L"*\\active.transaction", "active"},
        {L"*\\staging.transaction", "staging"},
        {L"*\\.vandrel-updater\\*\\backup*", "backup"},
        {L"*\\.vandrel-updater\\*\\files*", "staged"},
        {L"*\\.vandrel-updater*", "store"},
        {L"C:\\Game\\*", "target"},
        {L"C:\\Game*", "root"},
        {L"*.status.json", "status"},
        {L"*.command.json", "command"},
        {L"C:\\Users\\*\\VandrelUpdater*", "copy"},
        {L"Local\\VandrelUpdater-*", "lock"},
        {L"C:\\Users*", "above"},
        {L"C:", "above"},
        {L"C:\\", "above"},
    };
    if (path.empty()) return "none";
    for (const Row& row : rows) {
        if (winsim::matches_pattern(path, row.pattern)) return row.name;
    }
    return "other";
}

}  // namespace interruption
