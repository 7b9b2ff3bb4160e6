// Processes, mutexes and program starts of the simulated machine.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace winsim {

// The process that a test is, when it makes platform calls directly (under a World::Guard). It is in no list.
inline constexpr std::uint32_t kTestProcessId = 4;

struct Process {
    std::uint32_t id = 0;
    std::wstring image;         // full path
    std::wstring command_line;  // as given to CreateProcessW, or by the test
    bool running = true;
    std::uint32_t open_error = 0;   // OpenProcess fails with this
    std::uint32_t image_error = 0;  // QueryFullProcessImageNameW fails with this
};

// One CreateProcessW that succeeded. The new process counts as running until the test ends it or runs it.
struct Start {
    std::wstring application;
    std::wstring command_line;
    std::wstring folder;
    std::uint32_t creation_flags = 0;
    std::uint32_t startup_flags = 0;
    std::uint16_t show = 0;
    bool inherit = false;
    std::uint32_t process_id = 0;
};

class Processes {
 public:
    Processes();
    ~Processes();

    // A process of somebody else (a client). Ids are multiples of 8, from 1000; the four next to each is its thread's.
    std::uint32_t start(const std::wstring& image, const std::wstring& command_line = L"");
    // Abandons its mutexes; a handle on it is signalled, OpenProcess gives 87 if none is left. Once is enough.
    void end(std::uint32_t id);
    Process& get(std::uint32_t id);           // throws std::out_of_range; the reference is good until the next start
    const std::vector<Process>& all() const;  // in the order of their ids, the ended ones included
    const std::vector<Start>& starts() const;
    void forget_starts();

    // A mutex held by another process; released by the test, or abandoned when that process ends. Names are those that
    // CreateMutexW takes: "Local\x" and "x" are one. Taking one that is held is an error (std::logic_error).
    // An abandoned mutex stays, as if a further process had it open too, until somebody takes it: its next owner is
    // told (WAIT_ABANDONED).
    void take_mutex(const std::wstring& name, std::uint32_t owner);
    void release_mutex(const std::wstring& name);
    bool mutex_held(const std::wstring& name) const;
    std::size_t open_handles() const;  // of the helper's processes: process, thread, mutex and snapshot handles

    struct Impl;
    Impl& impl() { return *impl_; }

 private:
    std::unique_ptr<Impl> impl_;
};

}  // namespace winsim
