// Processes, mutexes and kernel handles as the platform calls see them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "winsim/handle_table.h"
#include "winsim/processes.h"

namespace winsim {

inline constexpr std::uintptr_t kFirstKernelHandle = 0x40000004;  // far behind the disk's

struct Mutex {
    std::uint32_t owner = 0;  // process id; 0: free
    std::uint32_t depth = 0;  // how often the owner has taken it
    bool abandoned = false;   // its last owner ended without releasing it
    std::size_t handles = 0;  // of the program; an owner from outside needs none
};

// A snapshot's list, and the entry that Process32NextW gives next.
struct ProcessList {
    struct Entry {
        std::uint32_t id;
        std::wstring name;
    };
    std::vector<Entry> entries;
    std::size_t next = 0;
};

// What a handle stands for.
struct KernelObject {
    enum class Kind : std::uint8_t { process, thread, mutex, snapshot };
    Kind kind;
    std::uint32_t process_id = 0;         // of a process or its thread
    const std::wstring* mutex = nullptr;  // the key in the table of mutexes
    std::unique_ptr<ProcessList> list;
};

struct Processes::Impl {
    std::uint32_t begin_program(std::uint32_t id, const std::wstring& image, const std::wstring& command_line);
    std::uint32_t add(const std::wstring& image, const std::wstring& command_line);
    Process* find(std::uint32_t id);  // null for an id that never was one
    bool ended(std::uint32_t id);
    void end(std::uint32_t id);

    // "Local\x" is "x"; "Global\x" is another.
    static std::wstring_view mutex_key(std::wstring_view name);
    bool take(Mutex& mutex, std::uint32_t process, bool& was_abandoned);  // false: another has it
    void release(Mutex& mutex);
    std::size_t owned_by(std::uint32_t process) const;
    void drop_unused_mutexes();

    void* open_process(std::uint32_t id);
    void close(const void* handle);  // an open handle of the table
    void close_all();                // the program has ended: its handles are closed
    void end_all();                  // the machine has lost its power

    std::vector<Process> processes;
    std::vector<Start> starts;
    std::map<std::wstring, Mutex, std::less<>> mutexes;
    HandleTable<KernelObject> handles{kFirstKernelHandle};
};

}  // namespace winsim
