#include "handshake/progress_reporter.h"

#include <windows.h>

#include <algorithm>

#include "handshake/status_file.h"

namespace vandrel {

DownloadProgressReporter::DownloadProgressReporter(std::uint64_t& last_report_tick, std::uint64_t total_bytes,
                                                   std::uint64_t done_bytes, std::uint64_t file_size,
                                                   const LaunchOptions& options)
    : last_report_tick_(last_report_tick),
      total_bytes_(total_bytes),
      done_bytes_(done_bytes),
      file_size_(file_size),
      options_(options) {}

void DownloadProgressReporter::operator()(std::uint64_t received) const {
    if (GetTickCount64() - last_report_tick_ < kReportIntervalMs) return;
    last_report_tick_ = GetTickCount64();
    std::uint64_t progress = 100;
    if (total_bytes_ != 0) progress = (std::min(file_size_, received) + done_bytes_) * 100 / total_bytes_;
    write_status(options_, L"downloading", static_cast<std::int32_t>(progress), L"Baixando arquivos verificados...");
}

}  // namespace vandrel
