// Programs that the kit starts, and what these start in turn.
#pragma once

#include <windows.h>

#include <filesystem>
#include <string>

#include "sample_client/vandrel_client/helper_run.h"

namespace kit {

using vandrel_client::Handle;

struct Program {
    Handle process;
    DWORD id = 0;
};

// Nothing that belongs to it outlives it, nor the kit.
class Group {
 public:
    Group();  // throws std::system_error
    ~Group();
    Group(const Group&) = delete;
    Group& operator=(const Group&) = delete;

    // Starts a program without a window; its output goes to `output`, an inheritable handle, or nowhere. The command
    // line begins with the program's own quoted path. Throws std::system_error.
    Program start(const std::filesystem::path& program, const std::wstring& arguments,
                  const std::filesystem::path& folder, HANDLE output = nullptr);

    bool is_running() const;    // any program of it that isn't the system's own, as consoles and desktops are
    bool wait(DWORD limit_ms);  // for the end of all; false: it was too long, and what still ran has been ended
    void end(const Program& program);

 private:
    Handle job_;
};

std::filesystem::path command_shell();  // cmd.exe

// What a program prints until its end, as it comes; its output's file, `output`, stays. Throws std::system_error if it
// can't be started, std::runtime_error if it ends with another code than 0 or not within a minute.
std::string output_of(const std::filesystem::path& program, const std::wstring& arguments,
                      const std::filesystem::path& folder, const std::filesystem::path& output);

}  // namespace kit
