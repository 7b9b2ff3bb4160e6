// The simulated volumes: names, contents, attributes, share modes, and what of all that survives a power cut.
//
// Names: case-insensitive (ASCII), the spelling of the last creation or rename is kept. Drives exist once a folder has
// been made on them ("C:" always does). `\\?\C:\x` is taken for `C:\x`; other `\\?\` and `\\.\` paths aren't served
// (error 123), network paths lead nowhere (53), device names ("con") are ordinary names, streams ("a:b") are never
// there. Paths above 259 units give error 3, as they do to a program without long-path awareness. A folder's last-write
// time is that of its creation; creation and last-access times are reported as the last-write time.
//
// Durability. Every change of names is one record of a metadata journal (a rename that replaces something is one too);
// a file's content, with its size and last-write time, is durable when flushed. FlushFileBuffers makes its file's
// content and the whole journal so far durable; a write-through MoveFileExW or ReplaceFileW makes the journal so far
// durable by its end (not contents: a rename flushes nothing of the file it moves). At a power cut there stands: the
// durable state, then any prefix of the journal's rest; and of each file with unflushed content: the new content, the
// content at the last flush (nothing, if never flushed), or torn (the new size, the first half new, the rest zeros).
//
// Tests act on the disk through this class, outside the gate: set-up is durable at once (what is pending stays
// pending), look-ups see the live state. Paths are full paths; a path that can't be used throws std::invalid_argument.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "winsim/bytes.h"
#include "winsim/loss.h"

namespace winsim {

class Clock;
class DiskState;

inline constexpr std::uint64_t kTicksPerMs = 10000;  // a file time is 100 ns units since 1601

class Disk {
 public:
    Disk();
    ~Disk();
    Disk(const Disk&) = delete;
    Disk& operator=(const Disk&) = delete;

    void use_clock(const Clock& clock);  // by the world that owns both; until then it is 1 July 2026, 12:00 UTC

    // Set-up by a test: parents are made as needed, everything is durable at once.
    void make_folder(const std::wstring& path);
    void put(const std::wstring& path, std::string content);  // a new or changed file, written now; asks no handle
    void put(const std::wstring& path, std::string content, std::uint64_t write_time);
    void put(const std::wstring& path, const Bytes& content, std::uint64_t write_time);
    // The file ends in so many zeros, which take no memory: for files of 4 GiB. `read` leaves them out.
    void lengthen(const std::wstring& path, std::uint64_t zeros);
    void make_junction(const std::wstring& path, const std::wstring& target_folder);  // an empty folder becomes one
    void erase(const std::wstring& path);  // a file, junction or whole tree; nothing there is fine
    void set_attributes(const std::wstring& path, std::uint32_t attributes);  // a folder stays one, a junction too
    void set_write_time(const std::wstring& path, std::uint64_t write_time);
    // Unlimited until set; a write beyond gives error 112. Growing contents take from it, removed files give back.
    void set_free_bytes(std::uint64_t bytes);
    std::optional<std::uint64_t> free_bytes() const;

    // Looking: the live state, following junctions on the way, not at the end. Nothing there: false, or out_of_range.
    bool exists(const std::wstring& path) const;
    bool is_folder(const std::wstring& path) const;
    std::string read(const std::wstring& path) const;  // throws std::out_of_range if it is no file, too
    std::shared_ptr<const Bytes> contents(const std::wstring& path) const;  // the same, not copied
    std::uint32_t attributes(const std::wstring& path) const;
    std::uint64_t write_time(const std::wstring& path) const;
    // Full paths of everything beneath `folder`, folders with a trailing "\", sorted; a junction is listed, not
    // entered.
    std::vector<std::wstring> tree(const std::wstring& folder) const;
    // One value for names, spellings, contents, attributes and write times of files beneath `folder`. 0: no such
    // folder.
    std::uint64_t fingerprint(const std::wstring& folder) const;

    // A handle held by another process: it takes part in sharing. Access and share as for CreateFileW. Throws
    // std::logic_error if an open handle forbids it.
    int hold(const std::wstring& path, std::uint32_t access, std::uint32_t share);
    void release(int hold);            // a deletion that waited for it takes place
    std::size_t open_handles() const;  // of the helper's processes, searches included; holds not counted

    // Power.
    void settle();                // all that is live becomes durable
    std::size_t pending() const;  // journal records that are not durable
    // Every loss that is possible now, the mildest first; of those that leave the same state, only the first.
    std::vector<Loss> losses(LossModel model) const;
    Loss nothing_lost() const;          // all that is pending is kept
    Loss all_lost() const;              // nothing pending is kept, unflushed contents are lost
    void lose_power(const Loss& loss);  // the live state becomes what the next start finds; handles and holds are gone

    // Whole states, cheap to copy (contents are shared). They hold no handles; restoring drops all handles and holds.
    using State = DiskState;
    std::shared_ptr<const State> snapshot() const;                        // with all that is pending
    std::shared_ptr<const State> snapshot_after(const Loss& loss) const;  // as lose_power would leave it
    void restore(const std::shared_ptr<const State>& snapshot);
    // Whether anything has been named, written or flushed since. Cheap: for questions at every moment of a run.
    bool changed_since(const std::shared_ptr<const State>& snapshot) const;
    // Equal for states that look alike, and lose alike in the journal model; contents are compared by 64-bit hashes.
    static std::uint64_t hash(const State& state);

    struct Impl;
    Impl& impl() { return *impl_; }

 private:
    std::unique_ptr<Impl> impl_;
};

}  // namespace winsim
