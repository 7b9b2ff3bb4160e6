#include "release/progress.h"

#include <unistd.h>

#include <iomanip>
#include <iostream>
#include <sstream>

namespace vandrel_release {
namespace {

constexpr std::uint64_t kShowEveryMs = 100;
constexpr std::uint64_t kRateAfterMs = 500;
constexpr double kMegabyte = 1e6;

}  // namespace

std::string progress_line(const std::string& work, Amount done, Amount all, std::uint64_t elapsed_ms) {
    std::ostringstream line;
    line << std::fixed << std::setprecision(1) << work << ": " << done.files << " of " << all.files << " files, "
         << static_cast<double>(done.bytes) / kMegabyte << " of " << static_cast<double>(all.bytes) / kMegabyte
         << " MB";
    if (done.bytes == 0 || elapsed_ms < kRateAfterMs) return line.str();
    const double rate = static_cast<double>(done.bytes) / static_cast<double>(elapsed_ms);  // bytes a millisecond
    const double left_bytes = static_cast<double>(all.bytes) - static_cast<double>(done.bytes);
    line << ", " << rate * 1000 / kMegabyte << " MB/s, " << std::setprecision(0) << left_bytes / rate / 1000
         << " s left";
    return line.str();
}

Progress::Progress(std::ostream* out, std::string work, std::uint64_t files, std::uint64_t bytes)
    : out_(out), work_(std::move(work)), all_{files, bytes} {}

Progress::~Progress() {
    if (out_ != nullptr) *out_ << "\r\x1B[K" << std::flush;
}

void Progress::add_file() {
    ++files_;
    show();
}

void Progress::add_bytes(std::uint64_t count) {
    bytes_ += count;
    show();
}

void Progress::show() {
    if (out_ == nullptr) return;
    const std::unique_lock lock(mutex_, std::try_to_lock);  // whoever comes second has nothing newer to tell
    if (!lock) return;
    const auto elapsed = std::chrono::steady_clock::now() - start_;
    const auto now_ms =
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count());
    if (now_ms < shown_at_ms_ + kShowEveryMs) return;
    shown_at_ms_ = now_ms;
    *out_ << '\r' << progress_line(work_, {files_, bytes_}, all_, now_ms) << "\x1B[K" << std::flush;
}

std::ostream* terminal_of(std::ostream& out) {
    return &out == &std::cerr && ::isatty(STDERR_FILENO) == 1 ? &out : nullptr;
}

}  // namespace vandrel_release
