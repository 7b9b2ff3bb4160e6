// What the fuzz targets share: input taken apart, laws, and a player's machine that is put back for each input.
//
// A target is a program of libFuzzer's. A broken law ends it with the law's words, as a crash does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

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
    std::uint8_t byte() {
        const std::string_view one = take(1);
        return one.empty() ? std::uint8_t{0} : static_cast<std::uint8_t>(one[0]);
    }
    std::uint32_t number(std::uint32_t below) { return (byte() | std::uint32_t{byte()} << 8U) % below; }
    std::string_view take(std::size_t count) {
        const std::string_view taken = rest_.substr(0, count);
        rest_.remove_prefix(taken.size());
        return taken;
    }
    std::string_view rest() { return take(rest_.size()); }
    // A text of its own: a length, then its bytes.
    std::string_view text() { return take(number(4096)); }

 private:
    std::string_view rest_;
};

// UTF-16 units, two bytes each; lone halves of pairs and zeros included.
inline std::wstring units_of(std::string_view bytes) {
    std::wstring units;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        units +=
            static_cast<wchar_t>(static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
    return units;
}

// Each byte as a unit.
inline std::wstring widened(std::string_view bytes) {
    std::wstring units;
    for (const char byte : bytes) units += static_cast<wchar_t>(static_cast<unsigned char>(byte));
    return units;
}

// Release 1 in C:\Game, the client running. Each input meets a machine that is switched on with this disk in it.
struct Player : support::Machine {
    Player() {
        static const auto disk = [] {
            support::Machine machine;
            machine.install(support::minimal_client());
            return machine.world.disk.snapshot();
        }();
        world.disk.restore(disk);
        start_client();
    }
    // The client's folder but for the store.
    support::Files folder() const { return client_files(); }
};

}  // namespace fuzz
