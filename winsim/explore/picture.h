// What stands on a disk, to be compared with what stood there before.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "winsim/disk.h"

namespace winsim::explore {

struct Seen {
    std::shared_ptr<const Bytes> content;  // of a file; a folder has none
    std::uint64_t write_time = 0;
    std::uint32_t attributes = 0;  // of a folder these alone

    bool holds(const Bytes& bytes) const { return content && content->same(bytes); }
};

// By full path; folders have a trailing "\".
using Picture = std::map<std::wstring, Seen>;
using PathTest = std::function<bool(const std::wstring& path)>;

// Everything beneath C:\ but what `leaves_out` says yes to.
Picture picture_of(const Disk& disk, const PathTest& leaves_out);

// The first difference in names, spellings, contents, times or attributes, in one line; empty: none. What `exempts`
// says yes to isn't compared.
std::string difference(const Picture& before, const Picture& now, const PathTest& exempts);

}  // namespace winsim::explore
