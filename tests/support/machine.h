// A player's machine whose folder and endpoint a test fills in one line each.
//
//     Machine machine;
//     machine.install(old_files);
//     machine.publish(2, new_files);
//     machine.client_answers("apply");
//     EXPECT_EQ(machine.update(), 0);
//     EXPECT_EQ(machine.client_files(), new_files);
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "run/launch_options.h"
#include "tests/support/release_builder.h"
#include "winsim/player/machine.h"

namespace support {

using player::kClient;
using player::kHelper;
using player::kJob;
using player::kRoot;
using player::kStore;
using player::narrow;
using player::Status;
using player::wide;

// The smallest folder that counts as a complete client: both executables' names, init.lua, data and modules.
Files minimal_client();

class Machine : public player::Machine {
 public:
    // The client's folder: exactly these files (what stood there before goes), with the folders data and modules.
    void install(const Files& files);
    // The endpoint serves this release, manifest and files.
    void publish(std::uint32_t release, const Files& files);
    void serve_manifest(std::string document);                              // any bytes; downloads give 404
    std::function<void(const winsim::Request&, winsim::Response&)> tamper;  // has the last word on every answer

    Files client_files() const;  // of the client's folder, store left out

    // Options as a validated command line of this machine gives them; for direct calls into subsystems.
    vandrel::LaunchOptions options() const;

 private:
    winsim::Response answer(const winsim::Request& request) const;

    std::uint32_t release_ = 0;
    std::string manifest_;
    Files served_;
};

// Every client folder's files as kept on the disk beneath `folder`, with "/" separators; `skip` is left out.
Files files_beneath(const winsim::Disk& disk, const std::wstring& folder, const std::wstring& skip = L"");

}  // namespace support
