// One line on a terminal that tells how far a long piece of work has come.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <iosfwd>
#include <mutex>
#include <string>

namespace vandrel_release {

struct Amount {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
};

// "WORK: 5 of 10 files, 1.5 of 3.0 MB, 0.5 MB/s, 3 s left". A megabyte has 1,000,000 bytes. No rate before the first
// byte, or within the first half second.
std::string progress_line(const std::string& work, Amount done, Amount all, std::uint64_t elapsed_ms);

// Writes that line to `out` ten times a second at most, over itself, and clears it in the end; does nothing if `out` is
// null. To be told of progress from any thread.
class Progress {
 public:
    Progress(std::ostream* out, std::string work, std::uint64_t files, std::uint64_t bytes);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();

    void add_file();
    void add_bytes(std::uint64_t count);

 private:
    void show();

    std::ostream* out_;
    std::string work_;
    Amount all_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::atomic<std::uint64_t> files_ = 0;
    std::atomic<std::uint64_t> bytes_ = 0;
    std::mutex mutex_;
    std::uint64_t shown_at_ms_ = 0;
};

// Where progress is shown: `out` if it is the standard error and that is a terminal, otherwise null.
std::ostream* terminal_of(std::ostream& out);

}  // namespace vandrel_release
