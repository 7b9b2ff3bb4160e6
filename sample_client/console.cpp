#include "console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <thread>

namespace sample_client {
namespace {

constexpr int kBarWidth = 30;
constexpr size_t kStateWidth = 17;
constexpr std::array<const char*, 10> kStateNames{"starting", "checking", "update_available", "downloading",
                                                  "handoff",  "current",  "cancelled",        "error",
                                                  "died",     "silent"};

// A line of the standard input, without its end; nothing when the input has ended. Read past the C library, whose lock
// on the stream a thread that still waits would hold against the end of the process.
std::optional<std::string> read_line() {
    std::string line;
    char byte = 0;
    DWORD count = 0;
    while (ReadFile(GetStdHandle(STD_INPUT_HANDLE), &byte, 1, &count, nullptr) && count == 1) {
        if (byte == '\n') return line;
        if (byte != '\r') line += byte;
    }
    return std::nullopt;
}

}  // namespace

struct Question::Reply {
    std::atomic<bool> is_given = false;
    bool is_yes = false;
};

void prepare_console() {
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY);
}

void print_line(const std::string& line) {
    const std::string text = line + '\n';
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

const char* state_name(vandrel_state state) {
    // cppcheck-suppress CastIntegerToAddressAtReturn // these are texts
    return kStateNames[state];
}

std::string detail_line(const vandrel_status& status) {
    std::string line = status.detail;
    std::erase(line, '\r');
    while (line.ends_with('\n')) line.pop_back();  // a text of the system's ends its line
    std::replace(line.begin(), line.end(), '\n', ' ');
    return line;
}

std::string status_line(const vandrel_status& status) {
    const int filled = status.progress * kBarWidth / 100;
    std::string state = state_name(status.state);
    state.resize(kStateWidth, ' ');
    std::string number = std::to_string(status.progress);
    number.insert(0, 3 - number.size(), ' ');
    std::string line = state + number + "% [" + std::string(static_cast<size_t>(filled), '#') +
                       std::string(static_cast<size_t>(kBarWidth - filled), '.') + "] " + detail_line(status);
    if (status.pending_files != 0) {
        line += " (release " + std::to_string(status.release) + ", " + std::to_string(status.pending_files) + " files)";
    }
    return line;
}

void StatusView::show(const vandrel_status& status) {
    std::string line = status_line(status);
    if (line == last_line_) return;
    print_line(line);
    last_line_ = std::move(line);
}

Question::Question(const std::string& question) : reply_(std::make_shared<Reply>()) {
    std::thread([reply = reply_, question] {
        std::optional<std::string> answer;
        do {
            print_line(question + " [y/n]");
            answer = read_line();
        } while (answer && answer != "y" && answer != "n");
        reply->is_yes = answer == "y";
        reply->is_given = true;
    }).detach();
}

std::optional<bool> Question::answer() const {
    if (!reply_->is_given) return std::nullopt;
    return reply_->is_yes;
}

}  // namespace sample_client
