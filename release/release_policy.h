// Holds a release against the policy of the helper that will install it, by the helper's own code; and against what
// Windows makes of its names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "release/manifest_format.h"

namespace vandrel_release {

// The executables that the helper takes for "/CLIENT" in this channel, spelled as it wants them.
std::vector<std::string> client_executables(const std::string& arch);

// Throws Refusal "NAME: no client executable of channel ARCH" if one of the names isn't one.
void require_client_names(const std::vector<std::string>& clients, const std::string& arch);

// One thing for which the helper would not install a release. Short as long as nobody asks for its text: a stranger's
// manifest may hold 100,000 of them, whose paths grow fourfold once they are printable.
struct PolicyRefusal {
    std::optional<std::size_t> file;  // its index in the release
    std::string words;

    // "PATH: WORDS", or the words alone without a file.
    std::string text(const std::vector<ReleaseFile>& files) const;
};

std::vector<std::string> texts_of(const std::vector<PolicyRefusal>& refusals, const std::vector<ReleaseFile>& files);

// Everything for which the helper would not install the release, in its own words, asked once for each client
// executable; no `clients` means each one that the release holds. Digests aren't looked at. The texts:
//   "PATH: WORDS"    for each file that can't be part of this release; of two that exclude each other, for the later;
//                    of those that are too much in all, for the first
//   "CLIENT: WORDS"  if that client's executable or "init.lua" is missing
//   "the folder holds no client executable" if none is named and none is found
// The helper takes names for one that differ in the case of A to Z; Windows does so in any script. Where the helper has
// no words for two such names, ours are
//   "PATH: Windows takes this name and OTHER for one"
//   "PATH: Windows takes a folder of this path and the file OTHER for one", or the other way round
// Time grows with the number of files, whatever is wrong with them.
std::vector<PolicyRefusal> policy_refusals(const std::vector<ReleaseFile>& files, std::uint32_t release,
                                           const std::string& arch, const std::vector<std::string>& clients);

}  // namespace vandrel_release
