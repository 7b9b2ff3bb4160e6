// Signed manifests for tests, made with the development key.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "manifest/manifest.h"

namespace support {

// A release or a folder: path (UTF-8, "/" separators) to content.
using Files = std::map<std::string, std::string>;

std::string sha256(const std::string& bytes);  // 32 raw bytes
vandrel::Digest digest_of(const std::string& bytes);

std::string u16(std::uint32_t value);  // little-endian
std::string u32(std::uint64_t value);
std::string u64(std::uint64_t value);

// One entry on the wire, and one of a file.
std::string wire_entry(const std::string& path, std::uint64_t size, const std::string& digest);
std::string wire_entry(const std::string& path, const std::string& content);

// "QMU2", release, count and the entries: what is signed.
std::string signed_range(std::uint32_t release, const std::vector<std::string>& entries);
std::string signed_range(std::uint32_t release, const Files& files);

// 384 bytes of RSASSA-PSS over `range`, salt 32, by the development key. Signed once for each range in a process.
std::string sign(const std::string& range);

// `range` with its signature block.
std::string with_signature(const std::string& range);
std::string manifest_of(std::uint32_t release, const Files& files);

}  // namespace support
