// A whole simulated Windows. One world is current on a thread at a time; two threads may run two worlds.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "winsim/clock.h"
#include "winsim/disk.h"
#include "winsim/gate.h"
#include "winsim/network.h"
#include "winsim/processes.h"

namespace winsim {

// How a program's run ended.
struct RunResult {
    // A cut or a forbidden call counts even if the program caught what left the call and ended by itself.
    enum class End : std::uint8_t { exited, power_cut, forbidden_call, escaped };
    End end = End::exited;
    int exit_code = -1;       // when it exited
    std::string reason;       // of a forbidden call, or of an exception that escaped the entry
    std::uint64_t calls = 0;  // platform calls made
    // Left open, or not released, when the program ended by itself (`exited` or `escaped`); else 0.
    std::size_t leaked_handles = 0;  // file, process, thread, mutex, snapshot, search, CNG and WinHTTP handles
    std::size_t leaked_blocks = 0;   // blocks for LocalFree
    std::size_t kept_mutexes = 0;    // owned by the program still, be their handles open or closed
};

class World {
 public:
    World();
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    Gate gate;
    Disk disk;
    Clock clock;
    Processes processes;
    Network network;

    std::wstring roaming = L"C:\\Users\\Ana\\AppData\\Roaming";
    std::wstring temporary = L"C:\\Users\\Ana\\AppData\\Local\\Temp\\";  // as GetTempPathW gives it
    std::wstring current_folder = L"C:\\Users\\Ana";
    std::uint32_t roaming_error = 0;  // SHGetFolderPathW gives this HRESULT

    // Sees each public key that a program imports, both numbers big-endian, and may put another in its place: as if the
    // program had been built with that one. None: it stays.
    std::function<void(std::string& exponent, std::string& modulus)> exchange_key;

    // Runs `entry` as a new process whose image is `image` and whose command line is `command_line` (program name
    // included), until it ends. Its handles are then closed, its mutexes abandoned. After a power cut the disk still
    // has its pending changes, and the other processes and the clock's actions still stand: the test chooses a Loss and
    // calls lose_power; or it goes on as after the death of this one process. `process_id` 0 takes a new id, else that
    // of a Start, whose process becomes this one. The gate is reset first. Not from within a run of the same world.
    RunResult run(const std::wstring& image, const std::wstring& command_line, int (*entry)(),
                  std::uint32_t process_id = 0);

    // The power of the whole machine goes: the disk loses what `loss` says, every process ends, every mutex is gone,
    // and so are the clock's actions.
    void lose_power(const Loss& loss);

    // The image of the program that runs.
    const std::wstring& image() const;
    // What GetModuleFileNameW and GetCommandLineW say to calls made directly, under a Guard.
    void set_program(const std::wstring& image, const std::wstring& command_line);

    // The world that answers platform calls on this thread; set by `run`, and by a Guard for direct calls.
    static World& current();
    class Guard {
     public:
        explicit Guard(World& world);
        ~Guard();
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

     private:
        World* previous_;
    };

    struct Impl;
    Impl& impl() { return *impl_; }

 private:
    void end_program(RunResult& result);

    std::unique_ptr<Impl> impl_;
};

}  // namespace winsim
