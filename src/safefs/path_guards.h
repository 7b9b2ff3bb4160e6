// The guards against redirection and escape. Each tells the state of a path at the moment of the call; nothing is
// cached and no handle is kept, so callers ask again near each use; how near, rule (8) of the transaction tells.
//
// A reparse point is refused wherever it points; none is ever resolved. A missing step (errors 2 and 3) is no refusal,
// any other failure to look at a step is. Containment is decided on the text alone and minds case.
#pragma once

#include <string>

namespace vandrel {

// No existing prefix of absolute(path) is a reparse point. The first step asked about is the bare root name ("C:", the
// drive's current folder). False for an empty path.
bool path_prefixes_free_of_reparse(const std::wstring& path);

// Neither the normalised absolute path nor any of its ancestors, from the root down, is a reparse point.
bool ancestors_free_of_reparse(const std::wstring& path);

// `target` lies, lexically and with case, at or beneath `root`. No disk is touched.
bool is_path_within(const std::wstring& root, const std::wstring& target);

// Makes `path` and its missing ancestors, looking for redirection before and after.
// Throws Failure "Diretorio com redirecionamento recusado." (before) or "Diretorio inseguro." (after, or no folder
// there), std::system_error "create_directories". What was made stays.
void ensure_safe_directory(const std::wstring& path);

// A file may be written at `target` under `root`: the root is a plain folder, the target lies within it, nothing on the
// way redirects, and no folder or reparse point stands at the target (nothing there is fine, and so is a target that
// can't be looked at). False sets `error` to "Destino de download escapa da pasta permitida ou contem
// redirecionamento." or "Destino de download existente nao e um arquivo regular."; true leaves it alone.
bool validate_download_destination(const std::wstring& root, const std::wstring& target, std::wstring& error);

// The one identity test of paths: equal after normalisation and ASCII case folding; a trailing separator counts.
// Throws std::system_error "absolute".
bool same_folder(const std::wstring& a, const std::wstring& b);

}  // namespace vandrel
