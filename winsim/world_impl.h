// What a world keeps for the program that runs in it. For the bodies of the platform calls, not for tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "winsim/world.h"

namespace winsim {

class Cng;

struct World::Impl {
    Impl();
    ~Impl();

    // The program that makes the calls. The id of the start stands for a test that calls directly, under a Guard.
    std::uint32_t process_id = kTestProcessId;
    std::wstring image = L"C:\\test.exe";
    std::wstring command_line = L"test.exe";
    bool running = false;

    // Blocks that LocalFree releases.
    void* allocate_block(std::size_t size);
    bool free_block(const void* block);
    std::size_t blocks() const { return blocks_.size(); }
    void free_blocks() { blocks_.clear(); }

    std::uint64_t random_counter = 0;  // BCryptGenRandom: one value for each eight bytes
    std::unique_ptr<Cng> cng;

 private:
    std::vector<std::unique_ptr<std::byte[]>> blocks_;
};

// Stops the program with `reason` unless the condition holds: what it asks for is nothing the helper may ever ask.
inline void demand(World& world, bool condition, const char* reason) {
    if (!condition) world.gate.forbid(reason);
}

}  // namespace winsim
