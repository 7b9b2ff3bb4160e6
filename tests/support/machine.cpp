#include "tests/support/machine.h"

#include <algorithm>

namespace support {
namespace {

std::string percent_decode(const std::wstring& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool encoded = text[i] == L'%';
        bytes += static_cast<char>(encoded ? std::stoi(text.substr(i + 1, 2), nullptr, 16) : text[i]);
        if (encoded) i += 2;
    }
    return bytes;
}

}  // namespace

Files minimal_client() {
    return {{"brindler_dx_x64.exe", "dx client 1"},
            {"brindler_gl_x64.exe", "gl client 1"},
            {"init.lua", "-- start 1"},
            {"data/things.dat", "things 1"},
            {"modules/game.lua", "-- game 1"},
            {"Vandrel Updater.exe", "helper 1"}};
}

void Machine::install(const Files& files) {
    world.disk.erase(kRoot);
    world.disk.make_folder(std::wstring(kRoot) + L"\\data");
    world.disk.make_folder(std::wstring(kRoot) + L"\\modules");
    for (const auto& [path, content] : files) world.disk.put(std::wstring(kRoot) + L"\\" + wide(path), content);
}

void Machine::publish(std::uint32_t release, const Files& files) {
    serve_manifest(manifest_of(release, files));
    release_ = release;
    served_ = files;
}

void Machine::serve_manifest(std::string document) {
    release_ = 0;
    manifest_ = std::move(document);
    served_.clear();
    world.network.serve([this](const winsim::Request& request) { return answer(request); });
}

winsim::Response Machine::answer(const winsim::Request& request) const {
    winsim::Response response;
    response.status = 404;
    const std::wstring base = L"/client-brd/updater.php?action=";
    const std::wstring download = base + L"download&arch=64&release=" + std::to_wstring(release_) + L"&file=";
    if (request.object == base + L"manifest&arch=64") {
        response.status = 200;
        response.body = manifest_;
    } else if (request.object.starts_with(download)) {
        const auto file = served_.find(percent_decode(request.object.substr(download.size())));
        if (file != served_.end()) {
            response.status = 200;
            response.body = file->second;
        }
    }
    if (tamper) tamper(request, response);
    return response;
}

Files files_beneath(const winsim::Disk& disk, const std::wstring& folder, const std::wstring& skip) {
    Files files;
    for (const std::wstring& path : disk.tree(folder)) {
        if (path.ends_with(L"\\") || (!skip.empty() && path.starts_with(skip))) continue;
        std::wstring relative = path.substr(folder.size() + 1);
        std::ranges::replace(relative, L'\\', L'/');
        files[narrow(relative)] = disk.read(path);
    }
    return files;
}

Files Machine::client_files() const {
    return files_beneath(world.disk, kRoot, std::wstring(kStore) + L"\\");
}

vandrel::LaunchOptions Machine::options() const {
    vandrel::LaunchOptions options;
    options.arch = L"64";
    options.job_id = job;
    options.client_executable = L"brindler_dx_x64.exe";
    options.status_path = status_path();
    options.command_path = command_path();
    options.client_root = kRoot;
    options.client_pid = client_pid;
    return options;
}

}  // namespace support
