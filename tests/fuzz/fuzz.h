// What the fuzz targets share: input taken apart, laws, and a player's machine that is put back for each input. A
// target is a program of libFuzzer's; a broken law ends it with the law's words, as a crash does.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/machine.h"

namespace fuzz {

inline void law(bool holds, const char* words) {
    if (holds) return;
    std::fprintf(stderr, "LAW BROKEN: %s\n", words);
    std::abort();
}

// The input, eaten from the front. What isn't there any more is zeros and empty texts.
class Input {
 public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    bool empty() const { return rest_.empty(); }
    std::uint8_t byte() { return empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(take(1)[0]); }
    std::uint32_t number(std::uint32_t below) { return (byte() | std::uint32_t{byte()} << 8U) % below; }
    std::string_view take(std::size_t count) {
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        return taken;
    }
    std::string_view text() { return take(number(4096)); }  // a length, then its bytes
    // As many UTF-16 units, or what is there of them; lone halves of pairs and zeros included.
    std::wstring units(std::size_t count) {
        std::wstring units;
        while (units.size() < count && !empty()) units += static_cast<wchar_t>(number(0x10000));
        return units;
    }

 private:
    std::string_view rest_;
};

// Release 1 in C:\Game, the client running. Each input meets a machine that is switched on with this disk in it.
struct Player : support::Machine {
    Player() {
        static const auto disk = [] {
            support::Machine machine;
            machine.install(support::minimal_client());
            machine.world.disk.put(L"C:\\init.lua", "nobody's");
            return machine.world.disk.snapshot();
        }();
        world.disk.restore(disk);
        start_client();
    }

    // What stands on the disk, with its content as it lies there (none of a folder), but for the helper's own places.
    using Outside = std::vector<std::pair<std::wstring, std::shared_ptr<const winsim::Bytes>>>;
    Outside outside() const {
        const std::wstring own[] = {player::kStore, world.temporary + L"VandrelUpdater\\",
                                    world.roaming + L"\\BrindlerQ3\\"};
        Outside found;
        for (const std::wstring& path : world.disk.tree(L"C:")) {
            const auto begins = [&path](const std::wstring& place) { return path.starts_with(place); };
            if (std::ranges::any_of(own, begins)) continue;
            found.emplace_back(path, path.ends_with(L'\\') ? nullptr : world.disk.contents(path));
        }
        return found;
    }

    // What every process must keep to. Gives back how it ended.
    static winsim::RunResult lawful(const winsim::RunResult& result) {
        law(result.end == winsim::RunResult::End::exited, "the helper ends by itself");
        law(result.leaked_handles == 0 && result.leaked_blocks == 0 && result.kept_mutexes == 0, "it holds nothing");
        return result;
    }
};

}  // namespace fuzz
