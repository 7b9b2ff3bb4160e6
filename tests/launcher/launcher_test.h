// What the launcher's tests share: a machine with an update to make, and a command line in the making.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "tests/support/events.h"

namespace support {

using Starts = std::vector<std::wstring>;
inline const std::wstring kPlainStart = L"\"C:\\Game\\brindler_dx_x64.exe\"";
inline const std::wstring kRecoveredStart = kPlainStart + L" --vandrel-update-recovered";
inline const std::wstring kHelpers = L"C:\\Users\\Ana\\AppData\\Local\\Temp\\VandrelUpdater";
inline const std::wstring kCopyName = L"\\Vandrel Updater.exe";
inline const std::wstring kCancelled = L"Atualizacao cancelada.";
inline const std::wstring kUpperJob = L"0123456789ABCDEF0123456789ABCDEF";
inline const std::wstring kNextJob(32, L'f');
inline constexpr std::uint64_t kDayTicks = 864000000000;  // of 100 ns

// Five files to write, in this order: Vandrel Updater.exe, init.lua and modules/game.lua replace, the others are new.
inline Files release_two() {
    Files files = minimal_client();
    files["Vandrel Updater.exe"] = "helper 2";
    files["data/empty"] = "";
    files["data/new/deep/file.bin"] = std::string(200000, 'x');
    files["init.lua"] = "-- start 2, longer";
    files["modules/game.lua"] = "-- game 2";
    return files;
}

// Release 1 is installed, release 2 is published, the client runs and hasn't said anything.
struct Job : Machine {
    Job() {
        install(minimal_client());
        publish(2, release_two());
        start_client();
    }

    // Every document of the status file: "downloading 14 of 2/5: Baixando...".
    std::vector<std::string> told() const {
        std::vector<std::string> lines;
        for (const Status& now : history()) {
            EXPECT_EQ(now.job_id, narrow(job));
            lines.push_back(now.state + " " + std::to_string(now.progress) + " of " + std::to_string(now.release) +
                            "/" + std::to_string(now.pending_files) + ": " + now.detail);
        }
        return lines;
    }
    std::wstring detail() const { return wide(status().detail); }
    bool was_told(const char* state) const { return std::ranges::count(states(), state) != 0; }
    bool asked_for(const wchar_t* action) const {
        return std::ranges::any_of(world.network.requests(), [&](const winsim::Request& request) {
            return request.object.find(action) != std::wstring::npos;
        });
    }
    // The clients that the helper has started: their command lines.
    Starts client_starts() const {
        Starts lines;
        for (const winsim::Start& start : world.processes.starts()) {
            if (start.application == kClient) lines.push_back(start.command_line);
        }
        return lines;
    }
};

// A command line that passes every check, of the first instance or of the temporary copy; tests spoil it by slot.
struct Line {
    explicit Line(bool copy = false) {
        machine.install(minimal_client());
        machine.start_client();
        arguments = {{"check", L"/CHECK"},
                     {"arch", L"/ARCH=64"},
                     {"job", L"/JOB=" + machine.job},
                     {"status", L"/STATUS=" + machine.status_path()},
                     {"waitpid", L"/WAITPID=" + std::to_wstring(machine.client_pid)},
                     {"client", L"/CLIENT=brindler_dx_x64.exe"}};
        if (!copy) return;
        arguments["relocated"] = L"/RELOCATED";
        arguments["root"] = L"/ROOT=C:\\Game";
        image = kHelpers + L"\\" + machine.job + kCopyName;
    }

    std::wstring text() const {
        std::wstring line = L"\"" + image + L"\"";
        for (const auto& [slot, argument] : arguments) line += L" \"" + argument + L"\"";
        return line;
    }

    Job machine;
    Faults faults{machine.world};
    std::wstring image = kHelper;
    std::map<std::string, std::wstring> arguments;
};

// What spoils a line, or the machine on which it runs.
using Spoil = std::function<void(Line&)>;
inline Spoil argument(const char* slot, const std::wstring& text) {
    return [=](Line& line) { line.arguments[slot] = text; };
}
inline Spoil without(const char* slot) {
    return [=](Line& line) { line.arguments.erase(slot); };
}
inline Spoil meeting(Event event) {
    return [=](Line& line) { event(line.machine, line.faults); };
}
inline Spoil refused(const char* call, const wchar_t* part = L"", int times = 1000) {
    return meeting(failing(call, part, 5, times));
}
inline void warned(Line& line) {
    line.machine.world.roaming_error = 1;  // a success all the same, without a folder
}

}  // namespace support
