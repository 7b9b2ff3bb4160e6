// growth STEP N [M]: one step of an update for a release of N files, M of them (1,000 unless told) in a folder, on the
// simulated Windows, once, under callgrind: only what the step itself does is collected. scripts/growth runs it.
//
//   parse     the signed manifest, its signature included
//   policy    the rules on the release's paths and sizes
//   check     a first instance's whole run over a folder that is current
//   plan      the same over a folder in which every file is another
//   download  every file downloaded and staged, from the player's consent to the handoff
//   install   from the handoff to the end: every file replaced, and the client started again
//   record    the recovery record made, and written
//   recovery  the record read back, its manifest and policy included
//   sweep     a store with an old transaction of N files, swept
//   store     the sweep of a store with N folders that nobody can account for: 256 of them are looked at
//
// Callgrind's --instr-atstart=no and --collect-atstart=no are presupposed: what comes before is quick then. Exit code 1
// if the step didn't come to the end that it should.
#include <valgrind/callgrind.h>
#include <windows.h>

#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "manifest/digests.h"
#include "manifest/manifest_policy.h"
#include "manifest/signed_manifest.h"
#include "release/key_file.h"
#include "release/manifest_format.h"
#include "release/signing_key.h"
#include "safefs/small_files.h"
#include "transaction/recovery_record.h"
#include "transaction/transaction_store.h"
#include "winsim/player/machine.h"

namespace {

using vandrel_release::ReleaseFile;

constexpr std::uint32_t kRelease = 2;
const std::wstring kRoot = player::kRoot;
const std::wstring kStore = player::kStore;
const std::string kContent = "content";

void require(bool held, const std::string& what) {
    if (!held) throw std::runtime_error(what);
}

std::string path_of(std::size_t number, std::size_t per_folder) {
    const auto digits = [](std::size_t value) { return std::to_string(1000000 + value); };  // as many of each
    return "data/" + digits(number / per_folder) + "/" + digits(number) + ".dat";
}

// A machine with the client's folder, and a release of `count` files.
class Scene {
 public:
    Scene(std::size_t count, std::size_t per_folder) {
        for (const wchar_t* path : {L"\\data", L"\\modules"}) world.disk.make_folder(kRoot + path);
        vandrel::Digest digest{};
        const winsim::World::Guard guard(world);
        vandrel::sha256_of_bytes(reinterpret_cast<const std::uint8_t*>(kContent.data()), kContent.size(), digest);
        for (const char* name : {"brindler_dx_x64.exe", "init.lua"}) files.push_back({name, kContent.size(), digest});
        for (std::size_t i = files.size(); i < count; ++i) {
            files.push_back({path_of(i, per_folder), kContent.size(), digest});
        }
        const std::string range = vandrel_release::signed_range(kRelease, files);
        const vandrel_release::Key key = vandrel_release::load_signing_key(VANDREL_DEVELOPMENT_KEY, {});
        document = vandrel_release::finished_manifest(range, vandrel_release::sign(key, range));
        options.arch = L"64";
        options.job_id = player::kJob;
        options.client_executable = L"brindler_dx_x64.exe";
        options.client_root = kRoot;
    }
    void fill(const std::wstring& folder, const std::string& content) {
        for (const ReleaseFile& file : files) world.disk.put(folder + L"\\" + player::wide(file.path), content);
    }
    // The endpoint, a client's folder whose files hold `content`, and a client in it that gives `answer`.
    void set(const std::string& content, const std::string& answer) {
        fill(kRoot, content);
        world.network.serve([this](const winsim::Request& request) {
            winsim::Response response;
            response.body = request.object.find(L"action=download") == std::wstring::npos ? document : kContent;
            return response;
        });
        world.disk.put(player::kHelper, "helper");
        machine.start_client();
        machine.client_answers(answer);
    }
    // The plan of an update that replaces every file.
    vandrel::TransactionPlan plan() const {
        vandrel::TransactionPlan plan;
        plan.job_id = player::kJob;
        plan.manifest.storage.assign(document.begin(), document.end());
        plan.manifest.signed_bytes = plan.manifest.storage;
        std::wstring error;
        require(vandrel::parse_signed_manifest(plan.manifest.signed_bytes, plan.manifest.release, plan.manifest.entries,
                                               error),
                "the manifest is refused");
        for (std::uint32_t i = 0; i < plan.manifest.entries.size(); ++i) {
            plan.files.push_back({i, true, plan.manifest.entries[i]});
        }
        return plan;
    }

    player::Machine machine;
    winsim::World& world = machine.world;
    std::vector<ReleaseFile> files;
    std::string document;
    vandrel::LaunchOptions options;
};

// Counts what `action` does, and nothing else.
void collect(const std::function<void()>& action) {
    CALLGRIND_START_INSTRUMENTATION;
    CALLGRIND_TOGGLE_COLLECT;
    action();
    CALLGRIND_TOGGLE_COLLECT;
}

void measure_parse(Scene& scene) {
    const winsim::World::Guard guard(scene.world);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(scene.document.data());
    std::vector<vandrel::ManifestEntry> entries;
    std::uint32_t release = 0;
    std::wstring error;
    bool parsed = false;
    collect([&] { parsed = vandrel::parse_signed_manifest({bytes, scene.document.size()}, release, entries, error); });
    require(parsed && entries.size() == scene.files.size(), "the manifest is refused");
}

void measure_policy(Scene& scene) {
    const winsim::World::Guard guard(scene.world);
    const vandrel::TransactionPlan plan = scene.plan();
    collect([&] { vandrel::validate_manifest_policy(plan.manifest.entries, kRelease, scene.options); });
}

// The first instance's run. A folder that differs is offered, and the player declines.
void measure_run(Scene& scene, const std::string& content, const std::string& state) {
    scene.set(content, "cancel");
    collect([&] { scene.machine.run_first(); });
    require(scene.machine.status().state == state, scene.machine.status_text());
}

// A whole update, of which one half is collected: up to the handoff, or from there on.
void measure_update(Scene& scene, bool download) {
    scene.set("another", "apply");
    if (download) scene.machine.on_state("downloading", [] { CALLGRIND_TOGGLE_COLLECT; });
    scene.machine.on_state("handoff", [] { CALLGRIND_TOGGLE_COLLECT; });
    CALLGRIND_START_INSTRUMENTATION;
    const int exit_code = scene.machine.update();
    if (!download) CALLGRIND_TOGGLE_COLLECT;
    require(exit_code == 0 && scene.world.disk.read(kRoot + L"\\init.lua") == kContent, scene.machine.status_text());
}

void measure_record(Scene& scene) {
    const winsim::World::Guard guard(scene.world);
    const vandrel::TransactionPlan plan = scene.plan();
    scene.world.disk.make_folder(kStore);
    collect([&] {
        const vandrel::SerializedTransaction record = vandrel::serialize_transaction(plan);
        vandrel::write_file_atomic(kRoot, vandrel::active_record_path(scene.options), record.pieces());
    });
}

vandrel::Bytes record_of(const vandrel::TransactionPlan& plan) {
    vandrel::Bytes bytes;
    const vandrel::SerializedTransaction record = vandrel::serialize_transaction(plan);
    for (const auto& piece : record.pieces()) bytes.insert(bytes.end(), piece.begin(), piece.end());
    return bytes;
}

void measure_recovery(Scene& scene) {
    const winsim::World::Guard guard(scene.world);
    vandrel::Bytes bytes = record_of(scene.plan());
    std::size_t found = 0;
    collect([&] { found = vandrel::parse_transaction(std::move(bytes), scene.options).files.size(); });
    require(found == scene.files.size(), "the record is refused");
}

void sweep(Scene& scene, std::size_t expected_left) {
    scene.world.clock.advance(30ULL * 24 * 3600 * 1000);
    collect([&] { vandrel::sweep_stale_transactions(scene.options); });
    const std::size_t left = scene.world.disk.tree(kStore).size();
    require(left == expected_left, std::to_string(left) + " left in the store");
}

// What a download that was interrupted behind its last file has left.
void measure_sweep(Scene& scene) {
    const winsim::World::Guard guard(scene.world);
    const std::wstring folder = kStore + L"\\" + player::kJob + L"\\";
    const vandrel::Bytes record = record_of(scene.plan());
    scene.world.disk.put(folder + L"staging.transaction", std::string(record.begin(), record.end()));
    scene.fill(folder + L"files", kContent);
    sweep(scene, 0);
}

void measure_store(Scene& scene) {
    const winsim::World::Guard guard(scene.world);
    const std::size_t count = scene.files.size();
    for (std::size_t i = 0; i < count; ++i) {
        const std::wstring digits = std::to_wstring(i);
        const std::wstring folder = kStore + L"\\" + std::wstring(32 - digits.size(), L'0') + digits;
        scene.world.disk.put(folder + L"\\staging.transaction", "x");
    }
    sweep(scene, 2 * count);
}

void measure(const std::string& step, std::size_t count, std::size_t per_folder) {
    Scene scene(count, per_folder);
    const std::map<std::string, std::function<void()>> steps{
        {"parse", [&] { measure_parse(scene); }},
        {"policy", [&] { measure_policy(scene); }},
        {"check", [&] { measure_run(scene, kContent, "current"); }},
        {"plan", [&] { measure_run(scene, "another", "cancelled"); }},
        {"download", [&] { measure_update(scene, true); }},
        {"install", [&] { measure_update(scene, false); }},
        {"record", [&] { measure_record(scene); }},
        {"recovery", [&] { measure_recovery(scene); }},
        {"sweep", [&] { measure_sweep(scene); }},
        {"store", [&] { measure_store(scene); }}};
    steps.at(step)();
}

}  // namespace

int main(int argc, char** argv) {
    try {
        require(argc == 3 || argc == 4, "usage: growth STEP N [M]");
        measure(argv[1], std::strtoul(argv[2], nullptr, 10), argc == 4 ? std::strtoul(argv[3], nullptr, 10) : 1000);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "growth: " << error.what() << '\n';
        return 1;
    }
}
