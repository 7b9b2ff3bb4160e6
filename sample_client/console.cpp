#include "console.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <iostream>

namespace sample_client {
namespace {

constexpr int kBarWidth = 30;
constexpr size_t kStateWidth = 17;

}  // namespace

void prepare_console() {
    SetConsoleOutputCP(CP_UTF8);
    _setmode(_fileno(stdout), _O_BINARY);
}

void print_line(const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

std::string status_line(const StatusDocument& status) {
    const int percent = std::clamp(status.progress, 0, 100);
    const int filled = percent * kBarWidth / 100;
    std::string state = status.state;
    state.resize(std::max(kStateWidth, state.size()), ' ');
    std::string number = std::to_string(percent);
    number.insert(0, 3 - number.size(), ' ');
    std::string line = state + number + "% [" + std::string(static_cast<size_t>(filled), '#') +
                       std::string(static_cast<size_t>(kBarWidth - filled), '.') + "] " + status.detail;
    if (status.pending_files != 0) {
        line += " (release " + std::to_string(status.release) + ", " + std::to_string(status.pending_files) + " files)";
    }
    return line;
}

void StatusView::show(const StatusDocument& status) {
    std::string line = status_line(status);
    if (line == last_line_) return;
    print_line(line);
    last_line_ = std::move(line);
}

bool ask_player(const std::string& question) {
    std::string answer;
    do {
        print_line(question + " [y/n]");
        if (!std::getline(std::cin, answer)) return false;
        while (!answer.empty() && answer.back() == '\r') answer.pop_back();
    } while (answer != "y" && answer != "n");
    return answer == "y";
}

}  // namespace sample_client
