// The progress of the downloads as the client sees it, ten reports a second at most.
#pragma once

#include <cstdint>

#include "run/launch_options.h"

namespace vandrel {

inline constexpr std::uint64_t kReportIntervalMs = 100;

// Called with the bytes received so far of the current file. Writes "downloading" with the percentage of all files'
// bytes, unless less than 100 ms have passed since the last report. The percentage falls when a file is retried.
// What write_status throws passes through.
class DownloadProgressReporter {
 public:
    // `last_report_tick` is kept over all files of a run and starts at 0, so that the first call always reports.
    DownloadProgressReporter(std::uint64_t& last_report_tick, std::uint64_t total_bytes, std::uint64_t done_bytes,
                             std::uint64_t file_size, const LaunchOptions& options);

    void operator()(std::uint64_t received) const;

 private:
    std::uint64_t& last_report_tick_;
    std::uint64_t total_bytes_;
    std::uint64_t done_bytes_;
    std::uint64_t file_size_;
    const LaunchOptions& options_;
};

}  // namespace vandrel
