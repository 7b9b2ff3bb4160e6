#include "winsim/player/machine.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include "launcher/entry.h"

namespace player {
namespace {

Status parse_status(const std::string& text) {
    const auto document = nlohmann::json::parse(text);
    return {document.at("jobId"),  document.at("state"),   document.at("progress"),
            document.at("detail"), document.at("release"), document.at("pendingFiles")};
}

}  // namespace

std::wstring wide(const std::string& utf8) {
    const std::u16string units = std::filesystem::path(utf8).u16string();
    return {units.begin(), units.end()};
}

std::string narrow(const std::wstring& text) {
    return std::filesystem::path(std::u16string(text.begin(), text.end())).string();
}

Machine::Machine() {
    world.disk.make_folder(world.roaming);
    world.disk.make_folder(world.temporary);
    world.disk.make_folder(world.current_folder);
    world.gate.add_watcher([this](const winsim::Call& call, winsim::Moment moment) { watch(call, moment); });
}

std::uint32_t Machine::start_client(const std::wstring& image) {
    client_pid = world.processes.start(image, L"\"" + image + L"\"");
    return client_pid;
}

void Machine::say(const std::string& command) {
    write_command(R"({"jobId":")" + narrow(job) + R"(","command":")" + command + "\"}");
}

void Machine::client_answers(const std::string& command, std::uint64_t closing_ms) {
    on_state("update_available", [this, command] { say(command); });
    on_state("handoff", [this, closing_ms] { world.clock.after(closing_ms, [this] { end_client(); }); });
}

void Machine::on_state(const std::string& state, std::function<void()> action) {
    reactions_.emplace_back(state, std::move(action));
}

// Reads the status file whenever a rename has ended at its name, as a client that polls fast enough would.
void Machine::watch(const winsim::Call& call, winsim::Moment moment) {
    if (moment != winsim::Moment::after) return;
    if (call.name != "ReplaceFileW" && call.name != "MoveFileExW") return;
    if (call.subject != status_path() || !has_status()) return;
    const Status now = status();
    if (!history_.empty() && history_.back() == now) return;
    const bool new_state = history_.empty() || history_.back().state != now.state;
    history_.push_back(now);
    if (!new_state) return;
    for (std::size_t i = 0; i < reactions_.size(); ++i) {
        if (reactions_[i].first == now.state) reactions_[i].second();
    }
}

std::wstring Machine::first_command_line() const {
    return L"\"" + std::wstring(kHelper) + L"\" /CHECK /ARCH=64 /JOB=" + job + L" \"/STATUS=" + status_path() +
           L"\" /WAITPID=" + std::to_wstring(client_pid) + L" /CLIENT=" + client.substr(client.rfind(L'\\') + 1);
}

winsim::RunResult Machine::run(const std::wstring& command_line, const std::wstring& image) {
    return world.run(image, command_line, &vandrel::run_helper);
}

winsim::RunResult Machine::run_copy() {
    for (const winsim::Start& start : world.processes.starts()) {
        if (start.application.find(L"VandrelUpdater") == std::wstring::npos) continue;
        if (!world.processes.get(start.process_id).running) continue;
        const winsim::Start copy = start;
        return world.run(copy.application, copy.command_line, &vandrel::run_helper, copy.process_id);
    }
    throw std::logic_error("no temporary copy was started");
}

int Machine::update() {
    if (client_pid == 0) start_client();
    const winsim::RunResult first = run_first();
    if (first.exit_code != 0 || status().state == "current") return first.exit_code;
    return run_copy().exit_code;
}

Status Machine::status() const {
    return parse_status(status_text());
}

std::vector<std::string> Machine::states() const {
    std::vector<std::string> states;
    for (const Status& status : history_) {
        if (states.empty() || states.back() != status.state) states.push_back(status.state);
    }
    return states;
}

std::vector<std::wstring> Machine::store() const {
    std::vector<std::wstring> entries = store_exists() ? world.disk.tree(kStore) : std::vector<std::wstring>{};
    for (std::wstring& entry : entries) entry.erase(0, std::wstring_view(kStore).size() + 1);
    return entries;
}

}  // namespace player
