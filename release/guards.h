// What the helper's policy allows and a publisher would regret: releases that some or all players could not install, or
// never update from again.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "release/manifest_format.h"
#include "release/signing_key.h"

namespace vandrel_release {

// What a publisher says to be meant.
struct Allowances {
    bool development_key = false;      // the pair that comes with the sources, whose private half everybody has
    bool new_key = false;              // another key than that of the tree's current release
    bool without_helper = false;       // no helper in the release
    bool kind_change = false;          // a file where a release of the tree has a folder, or the other way round
    std::filesystem::path helper_key;  // PEM; the key that the release's helper holds, if it isn't the release's own
    std::string url;                   // the endpoint that the release's helper must ask; empty: any
};

// Both halves of a key will do. The texts:
//   "this is the development key, whose private half everybody has (see --allow-development-key)"
//   "release N, the current one, is signed with another key (see --new-key)"
// Throws Refusal if the current release has no manifest that can be read.
std::vector<std::string> key_refusals(const std::filesystem::path& tree, const Key& key, const Allowances& allowed);

// "PATH: must be spelled NAME", for a client's executable: the helper is told its name by the client, and finds it in
// the client's folder, but who looks for it in the tree or starts it by name may not.
std::vector<std::string> spelling_refusals(const std::vector<ReleaseFile>& files);

// Paths whose kind has changed since a release that the tree holds; whoever has that release could not install this
// one, since no update removes anything. One text for each path, about the newest such release:
//   "PATH: a folder here, a file in release N (see --allow-kind-change)", or the other way round
// Throws Refusal, naming the release, if a manifest of the tree is damaged.
std::vector<std::string> kind_refusals(const std::filesystem::path& tree, const std::vector<ReleaseFile>& files);

// About the helper within the release:
//   "the folder holds no Vandrel Updater.exe (see --without-helper)"
//   "PATH: is no 64-bit Windows program"
//   "PATH: does not hold the key of this release (see --helper-key)", or "... the key of --helper-key"
//   "PATH: asks ENDPOINT, not URL", "PATH: the endpoint that it asks cannot be told"
std::vector<std::string> helper_refusals(const std::filesystem::path& folder, const std::vector<ReleaseFile>& files,
                                         const Key& key, const Allowances& allowed);

}  // namespace vandrel_release
