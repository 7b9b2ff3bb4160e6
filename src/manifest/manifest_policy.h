// What the helper may ever write, whoever signed it: the second line behind the signature.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "manifest/manifest.h"
#include "run/launch_options.h"

namespace vandrel {

inline constexpr std::size_t kLongestManagedPath = 220;             // UTF-16 units
inline constexpr std::size_t kLongestRelativePath = 4096;           // UTF-16 units
inline constexpr std::uint64_t kLargestFile = 4294967296;           // bytes, 4 GiB
inline constexpr std::uint64_t kLargestReleaseTotal = 17179869184;  // bytes, 16 GiB

// A relative path that stays beneath whatever it is joined to and names no device: not empty, at most 4096 units, no
// leading separator, no ":" or NUL, no component that is empty, "." or "..", that ends in "." or a blank, or whose stem
// is a device name.
bool is_safe_relative_path(const std::wstring& path);

// The entry's path is a safe relative one inside the managed set: beneath data/, modules/ or layouts/, or one of the
// named files, whatever its ASCII case.
bool is_managed_path(const ManifestEntry& entry, const LaunchOptions& options);

// A breach of the policy: the entry to blame, where there is one, and the words for it.
struct PolicyBreach {
    std::optional<std::size_t> index;  // of a conflict, or of a path listed twice: the later of both
    std::wstring text;
};

// The first breach, entries taken in order; none if the manifest passes. Reads attributes of the disk beneath
// `options.client_root` and changes nothing. The texts, in the order of the checks:
//   "Release vazia ou invalida."                 blames no entry
//   "Caminho nao gerenciado no manifesto."
//   "Caminho repetido no manifesto."             case apart
//   "Release excede limite de tamanho."
//   the refusals of validate_download_destination for the entry's place in the client's folder
//   "Arquivo conflita com diretorio."            case apart
//   "Manifesto sem init.lua ou backend selecionado."   blames no entry
std::optional<PolicyBreach> find_policy_breach(const std::vector<ManifestEntry>& entries, std::uint32_t release,
                                               const LaunchOptions& options);

// Failure with the text of the first breach, if there is one.
void validate_manifest_policy(const std::vector<ManifestEntry>& entries, std::uint32_t release,
                              const LaunchOptions& options);

}  // namespace vandrel
