#include "release/rehearsal/rehearse.h"

#include <algorithm>
#include <map>
#include <memory>

#include "release/key_file.h"
#include "release/refusal.h"
#include "release/rehearsal/stage.h"
#include "release/rehearsal/stories.h"
#include "release/tree.h"
#include "run/executables.h"

namespace vandrel_release {
namespace {

constexpr const char* kHelperPath = "Vandrel Updater.exe";

// The releases of the tree that a rehearsal reads, each once.
class Shelf {
 public:
    explicit Shelf(std::filesystem::path tree) : tree_(std::move(tree)) {}

    Offer offer(std::uint32_t number) {
        const auto found = offers_.find(number);
        if (found != offers_.end()) return found->second;
        auto release = std::make_shared<KeptRelease>(tree_, number);
        const PublicNumbers key = public_numbers(load_public_key(public_key_path(release_folder(tree_, number))));
        return offers_.emplace(number, Offer{std::move(release), key}).first->second;
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
    for (const std::wstring_view name : vandrel::kClientExecutables) {
        const std::string path = player::narrow(std::wstring(name));
        if (vandrel::is_client_executable(name, L"64") && release.find(path) != nullptr) clients.push_back(path);
    }
    return clients;
}

// The endpoint that a release's own helper asks; "" if it has none.
std::string endpoint_of(const KeptRelease& release) {
    const KeptFile* helper = release.find(kHelperPath);
    return helper == nullptr ? "" : endpoint_in(helper->contents->text());
}

Part rehearse_part(const RehearsalOptions& options, Shelf& shelf, std::uint32_t from, const std::string& client) {
    const Offer old = shelf.offer(from);
    const Offer wanted = shelf.offer(options.to);
    old.release->require_files(options.tree);
    std::string endpoint = endpoint_of(*wanted.release);
    if (endpoint.empty()) endpoint = endpoint_of(*old.release);
    Stage stage(options.tree, old, shelf.before(from), wanted, client, endpoint);
    player::Course course = stage.course();
    const player::Picture before = course.oracle.picture_of(stage.disk());
    const player::Recovery recovery(before, std::move(course));
    Part part;
    part.from = from;
    part.client = client;
    play(stage, recovery, part);
    return part;
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
    Rehearsal rehearsal{options.to, {}};
    for (const std::uint32_t from : releases_to_leave(options)) {
        const std::vector<std::string> clients = clients_of(*shelf.offer(from).release);
        if (clients.empty()) throw Refusal("release " + std::to_string(from) + " holds no client");
        for (const std::string& client : clients) {
            rehearsal.parts.push_back(rehearse_part(options, shelf, from, client));
        }
    }
    return rehearsal;
}

}  // namespace vandrel_release
