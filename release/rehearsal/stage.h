// One old release, as a player of one client has it, and all that its update is rehearsed with.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "release/rehearsal/kept_release.h"
#include "release/served_tree.h"
#include "release/signing_key.h"
#include "winsim/player/recovery.h"

namespace vandrel_release {

using Kept = std::shared_ptr<const KeptRelease>;

// A release that players are to get, with the public key that it is signed for.
struct Offer {
    Kept release;
    std::shared_ptr<const Key> key;
};

class Stage {
 public:
    // `older`: releases that the player had before `from`, the latest first. They have left the files that `from`
    // doesn't list. `endpoint`: the URL at which the tree is served; "": whatever the player's helper asks.
    // `line_mbits`: how fast the player's line is, in 1000000 bits a second, from 1 on.
    Stage(const std::filesystem::path& tree, Offer from, const std::vector<Kept>& older, Offer to,
          const std::string& client, std::string endpoint, std::uint32_t line_mbits);

    const Offer& from() const { return from_; }
    const Offer& to() const { return to_; }
    const std::string& client() const { return client_; }
    const std::wstring& client_path() const { return client_path_; }
    const player::Snapshot& disk() const { return disk_; }
    std::uint64_t bytes_per_ms() const { return bytes_per_ms_; }
    // What all runs bring but that of the next day, on which `from` is served once more, if the key is still the same.
    const Offer& offer_of(int run) const { return run == player::kNextDayRun ? from_ : to_; }
    ServedTree& tree_of(int run) { return run == player::kNextDayRun ? next_tree_ : tree_; }

    // What a program that was built as `executable` makes of an offer: whether it holds its key, and whether it asks
    // the endpoint. Any thread.
    struct Belief {
        bool has_key = false;
        bool asks_endpoint = false;
        std::string remark;  // what is odd about it, "" if nothing is
    };
    Belief belief_of(const winsim::Bytes& executable, const Offer& offer);

    // The stage must outlive what is made of it.
    player::Course course();

 private:
    Offer from_;
    Offer to_;
    std::string client_;
    std::wstring client_path_;
    std::string endpoint_;
    std::uint64_t bytes_per_ms_;
    ServedTree tree_;
    ServedTree next_tree_;
    player::Snapshot disk_;
    std::mutex mutex_;
    std::map<std::pair<std::uint64_t, const Offer*>, Belief> beliefs_;  // by the executable's hash
};

// One run on a stage: the endpoint answers as the real one would, the program's key and endpoint are those that its
// executable holds, and the line, with 30 ms to each answer, lets time pass.
class PlayedRun : public player::UpdateRun {
 public:
    PlayedRun(Stage& stage, const player::Snapshot& disk, int number);

    player::Machine machine;

    // What the endpoint was asked for, and what it has begun to send.
    std::uint64_t requests = 0;
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
    bool server_gone = false;  // from now on nobody answers

    // Does `action` in front of the read that brings more than half of so many bytes.
    void at_half_of(std::uint64_t total_bytes, std::function<void()> action);

    // Of the helper in the client's folder.
    Stage::Belief belief() { return belief_of(player::kHelper); }

 private:
    winsim::Response respond(const winsim::Request& request);
    Stage::Belief belief_of(const std::wstring& executable);

    Stage& stage_;
    std::uint64_t received_ = 0;  // of files, if every read but a file's last was full
    std::uint64_t awaited_ = 0;   // of the file under way
};

}  // namespace vandrel_release
