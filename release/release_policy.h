// Holds a release against the policy of the helper that will install it, by the helper's own code.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "release/manifest_format.h"

namespace vandrel_release {

// Asks the helper whether it would accept the release, once for each client executable; no `clients` means each one
// that the release holds. Digests aren't looked at. Throws Refusal with the helper's own text:
//   "PATH: TEXT"    for one file: the first, in the order given, that can't be part of this release
//   "TEXT"          for the release as a whole
//   "CLIENT: TEXT"  if that client's executable or "init.lua" is missing
//   "the folder holds no client executable" if none is named and none is found
//   "NAME: no client executable of channel ARCH" if the name isn't one
void check_policy(const std::vector<ReleaseFile>& files, std::uint32_t release, const std::string& arch,
                  const std::vector<std::string>& clients);

}  // namespace vandrel_release
