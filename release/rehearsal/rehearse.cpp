#include "release/rehearsal/rehearse.h"

#include <map>
#include <memory>
#include <mutex>

#include "release/helper_image.h"
#include "release/key_file.h"
#include "release/refusal.h"
#include "release/rehearsal/cuts.h"
#include "release/rehearsal/stage.h"
#include "release/rehearsal/stories.h"
#include "release/release_policy.h"
#include "release/tree.h"
#include "winsim/explore/parallel.h"

namespace vandrel_release {
namespace {

// The releases of the tree that a rehearsal reads, each once.
class Shelf {
 public:
    explicit Shelf(std::filesystem::path tree) : tree_(std::move(tree)) {}

    Offer offer(std::uint32_t number) {
        const auto found = offers_.find(number);
        if (found != offers_.end()) return found->second;
        auto release = std::make_shared<KeptRelease>(tree_, number);
        auto key = std::make_shared<Key>(load_public_key_of(release_folder(tree_, number)));
        return offers_.emplace(number, Offer{std::move(release), std::move(key)}).first->second;
    }

    // Those below `number`, the latest first.
    std::vector<Kept> before(std::uint32_t number) {
        std::vector<Kept> older;
        for (const std::uint32_t other : releases_in(tree_)) {
            if (other < number) older.insert(older.begin(), offer(other).release);
        }
        return older;
    }

 private:
    std::filesystem::path tree_;
    std::map<std::uint32_t, Offer> offers_;
};

std::vector<std::string> clients_of(const KeptRelease& release) {
    std::vector<std::string> clients;
    for (const std::string& name : client_executables(std::string(kArch))) {
        if (release.find(name) != nullptr) clients.push_back(name);
    }
    return clients;
}

// The endpoint that a release's own helper asks; "" if it has none, or can't be told.
std::string endpoint_of(const KeptRelease& release) {
    const KeptFile* helper = release.find(std::string(kHelperName));
    try {
        return helper == nullptr ? "" : HelperImage(helper->contents->text()).endpoint().value_or("");
    } catch (const Refusal&) {  // no program at all: whoever runs it will see
        return "";
    }
}

// A stage with what its update is judged by.
struct Set {
    std::unique_ptr<Stage> stage;
    std::unique_ptr<player::Recovery> recovery;
};

Set set_up(const RehearsalOptions& options, Shelf& shelf, std::uint32_t from, const std::string& client) {
    const Offer old = shelf.offer(from);
    const Offer wanted = shelf.offer(options.to);
    old.release->require_files(options.tree);
    std::string endpoint = endpoint_of(*wanted.release);
    if (endpoint.empty()) endpoint = endpoint_of(*old.release);
    Set set;
    set.stage =
        std::make_unique<Stage>(options.tree, old, shelf.before(from), wanted, client, endpoint, options.line_mbits);
    player::Course course = set.stage->course();
    player::Picture before = course.oracle.picture_of(set.stage->disk());
    set.recovery = std::make_unique<player::Recovery>(std::move(before), std::move(course));
    return set;
}

void rehearse_part(const RehearsalOptions& options, const Set& set, Part& part) {
    play(*set.stage, *set.recovery, part);
    const bool updates = part.files != 0 && part.stories.front().wrong.empty();
    if (options.cuts && updates) part.cuts.push_back(cut_power(*set.stage, *set.recovery, options.lives));
}

std::vector<std::uint32_t> releases_to_leave(const RehearsalOptions& options) {
    std::vector<std::uint32_t> from = options.from.empty() ? releases_in(options.tree) : options.from;
    std::erase(from, options.to);
    if (from.empty()) throw Refusal("the tree holds no other release to rehearse from");
    return from;
}

}  // namespace

Rehearsal rehearse(const RehearsalOptions& options) {
    Shelf shelf(options.tree);
    shelf.offer(options.to);  // a release that isn't there is refused first
    std::vector<Part> parts;
    for (const std::uint32_t from : releases_to_leave(options)) {
        const std::vector<std::string> clients = clients_of(*shelf.offer(from).release);
        if (clients.empty()) throw Refusal("release " + std::to_string(from) + " holds no client");
        for (const std::string& client : clients) parts.push_back({from, client, 0, 0, 0, 0, {}, {}});
    }
    std::mutex setting_up;
    winsim::explore::for_each_index(parts.size(), [&](std::size_t index) {
        std::unique_lock lock(setting_up);
        const Set set = set_up(options, shelf, parts[index].from, parts[index].client);
        lock.unlock();
        rehearse_part(options, set, parts[index]);
    });
    return {options.to, std::move(parts)};
}

std::string replay(const RehearsalOptions& options, const std::string& line) {
    const std::size_t slash = line.find('/');
    const std::size_t colon = line.find(':');
    const auto from = slash < colon ? parse_release_number(line.substr(0, slash)) : std::nullopt;
    if (!from || colon == std::string::npos) throw Refusal("no case to replay: " + printable(line));
    Shelf shelf(options.tree);
    const Set set = set_up(options, shelf, *from, line.substr(slash + 1, colon - slash - 1));
    return replay_cut(*set.stage, *set.recovery, line.substr(colon + 1));
}

}  // namespace vandrel_release
