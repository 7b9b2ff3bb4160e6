#include "release/rehearsal/stage.h"

#include <algorithm>
#include <set>

#include "release/endpoint.h"
#include "release/exchange.h"
#include "release/helper_image.h"
#include "release/refusal.h"
#include "winsim/disk_names.h"

namespace vandrel_release {
namespace {

constexpr std::uint32_t kNameNotResolved = 12007;  // ERROR_WINHTTP_NAME_NOT_RESOLVED
constexpr std::uint32_t kAnswerMs = 30;
constexpr std::uint64_t kBytesPerMsAtOneMbit = 125;
constexpr std::uint64_t kReadBytes = 64U << 10U;  // what the helper asks for at once

// The folders on the way to a file, the outermost first, each with a trailing "\".
std::vector<std::wstring> folders_to(const std::wstring& target) {
    std::vector<std::wstring> folders;
    const std::size_t root = std::wstring_view(player::kRoot).size();
    for (std::size_t at = target.find(L'\\', root + 1); at != std::wstring::npos; at = target.find(L'\\', at + 1)) {
        folders.push_back(target.substr(0, at + 1));
    }
    return folders;
}

bool can_stand(const winsim::Disk& disk, const std::wstring& target) {
    return !disk.exists(target) && std::ranges::none_of(folders_to(target), [&disk](std::wstring folder) {
        folder.pop_back();
        return disk.exists(folder) && !disk.is_folder(folder);
    });
}

// What of a release there is room for: what stands there already stays.
void add_files(winsim::Disk& disk, const KeptRelease& release) {
    for (const KeptFile& file : release.files()) {
        if (can_stand(disk, file.target)) disk.put(file.target, *file.contents, player::kInstallTime);
    }
}

// Files that are nobody's but the player's, in the folder, in the profile and elsewhere.
void add_own_files(winsim::Disk& disk, const KeptRelease& to) {
    const std::wstring root = player::kRoot;
    const std::wstring user = L"C:\\Users\\Ana";
    for (const std::wstring& path :
         {root + L"\\user.cfg", root + L"\\data\\notas do jogador.txt",
          user + L"\\AppData\\Roaming\\BrindlerQ3\\main\\config.otml", user + L"\\Documents\\carta.txt"}) {
        const bool listed = std::ranges::any_of(
            to.files(), [&path](const KeptFile& file) { return winsim::fold(file.target) == winsim::fold(path); });
        if (!listed && can_stand(disk, path)) disk.put(path, std::string("do jogador"), player::kInstallTime);
    }
}

player::Snapshot disk_of(const KeptRelease& from, const std::vector<Kept>& older, const KeptRelease& to) {
    player::Machine machine;
    winsim::Disk& disk = machine.world.disk;
    add_files(disk, from);
    for (const Kept& release : older) add_files(disk, *release);
    add_own_files(disk, to);
    for (const wchar_t* folder : {L"C:\\Game\\data", L"C:\\Game\\modules"}) {
        if (!disk.exists(folder)) disk.make_folder(folder);
    }
    return disk.snapshot();
}

Stage::Belief look_at(const winsim::Bytes& executable, const Offer& offer, const std::string& endpoint) {
    try {
        const HelperImage image(executable.text());
        const std::string asked = image.endpoint().value_or("");
        const bool has_key = image.holds_key(*offer.key);
        const bool asks_endpoint = endpoint.empty() || asked == endpoint;
        std::string remark;
        if (!asks_endpoint) remark = "asks " + (asked.empty() ? "no endpoint that can be told" : asked);
        if (!has_key) remark += (remark.empty() ? "" : ", and ") + std::string("was built with another key");
        return {has_key, asks_endpoint, remark};
    } catch (const Refusal& refusal) {
        return {false, false, refusal.what()};
    }
}

}  // namespace

Stage::Stage(const std::filesystem::path& tree, Offer from, const std::vector<Kept>& older, Offer to,
             const std::string& client, std::string endpoint, std::uint32_t line_mbits)
    : from_(std::move(from)),
      to_(std::move(to)),
      client_(client),
      client_path_(std::wstring(player::kRoot) + L"\\" + player::wide(client)),
      endpoint_(std::move(endpoint)),
      bytes_per_ms_(line_mbits * kBytesPerMsAtOneMbit),
      tree_(tree, to_.release->number()),
      next_tree_(tree, from_.release->number()),
      disk_(disk_of(*from_.release, older, *to_.release)) {}

Stage::Belief Stage::belief_of(const winsim::Bytes& executable, const Offer& offer) {
    const std::pair key(executable.hash(), &offer);
    {
        const std::scoped_lock lock(mutex_);
        if (const auto known = beliefs_.find(key); known != beliefs_.end()) return known->second;
    }
    const Belief belief = look_at(executable, offer, endpoint_);
    const std::scoped_lock lock(mutex_);
    return beliefs_.emplace(key, belief).first->second;
}

player::Course Stage::course() {
    std::set<std::wstring> there;
    winsim::Disk disk;
    disk.restore(disk_);
    for (const std::wstring& path : disk.tree(player::kRoot)) there.insert(winsim::fold(path));
    std::set<std::wstring> brought;
    for (const KeptFile& file : to_.release->files()) {
        for (const std::wstring& folder : folders_to(winsim::fold(file.target))) {
            if (!there.contains(folder)) brought.insert(folder);
        }
    }
    const auto is_new_folder = [brought](const std::wstring& path) { return brought.contains(winsim::fold(path)); };
    const auto start = [this](const player::Snapshot& found, int number) -> std::unique_ptr<player::UpdateRun> {
        return std::make_unique<PlayedRun>(*this, found, number);
    };
    player::Course course{start, client_path_, player::Oracle(is_new_folder, player::Spelling::any),
                          to_.release->layout(), std::nullopt};
    if (modulus_of(*from_.key) == modulus_of(*to_.key)) course.next = from_.release->layout();
    return course;
}

PlayedRun::PlayedRun(Stage& stage, const player::Snapshot& disk, int number) : UpdateRun(machine), stage_(stage) {
    machine.client = stage.client_path();
    switch_on(disk, number);
    machine.world.network.serve([this](const winsim::Request& request) { return respond(request); });
    machine.world.exchange_key = [this](std::string& exponent, std::string& modulus) {
        const Key& key = *stage_.offer_of(this->number()).key;
        exponent = exponent_of(key);
        modulus = modulus_of(key);
        if (!belief_of(machine.world.image()).has_key) modulus[modulus.size() / 2] ^= 1;  // some other key
    };
}

Stage::Belief PlayedRun::belief_of(const std::wstring& executable) {
    const winsim::Disk& disk = machine.world.disk;
    if (!disk.exists(executable)) return {false, false, "is missing"};
    return stage_.belief_of(*disk.contents(executable), stage_.offer_of(number()));
}

void PlayedRun::at_half_of(std::uint64_t total_bytes, std::function<void()> action) {
    const auto watch = [this, total_bytes, action = std::move(action), done = false](const winsim::Call& call,
                                                                                     winsim::Moment moment) mutable {
        if (moment != winsim::Moment::before || call.name != "WinHttpReadData") return;
        const std::uint64_t next = std::min(awaited_, kReadBytes);
        if (!done && next != 0 && 2 * (received_ + next) >= total_bytes) {
            done = true;
            action();
        }
        received_ += next;
        awaited_ -= next;
    };
    machine.world.gate.add_watcher(watch);
}

winsim::Response PlayedRun::respond(const winsim::Request& request) {
    winsim::Response response;
    ++requests;
    if (server_gone || !belief_of(machine.world.image()).asks_endpoint) {
        response.send_error = kNameNotResolved;
        return response;
    }
    const Answer answered = answer(stage_.tree_of(number()), player::narrow(request.object));
    response.status = static_cast<std::uint32_t>(answered.status);
    response.answer_ms = kAnswerMs;
    if (!answered.content) return response;
    const KeptRelease& release = *stage_.offer_of(number()).release;
    if (answered.what == "manifest") {
        response.body = release.manifest();
    } else if (const KeptFile* file = release.find(answered.path)) {
        response.source = file->source;
        ++files;
        awaited_ = file->source->size();
        bytes += awaited_;
    }
    const std::uint64_t reads = response.size() / kReadBytes + 2;  // the last one finds the end
    response.read_ms = static_cast<std::uint32_t>(response.size() / stage_.bytes_per_ms() / reads);
    return response;
}

}  // namespace vandrel_release
