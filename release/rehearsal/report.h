// What a rehearsal has found, for a person, for a program, and as a page.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace vandrel_release {

// Something the player's client was told, with the time since the helper's start.
struct Beat {
    std::uint64_t ms = 0;
    std::string state;
    std::string detail;
};

struct Story {
    std::string name;         // "update", "cancelled", "server gone" or "disk full"
    std::string words;        // the helper's last: "current 'Atualizacao instalada.'"
    std::string wrong;        // what didn't hold, in one line; empty: all of it held
    std::vector<Beat> beats;  // of the run that the story is about
};

// Power cuts in the middle of the update.
struct Cuts {
    bool all = false;                     // every cut there is, or else a sample
    std::uint64_t crash_points = 0;       // looked at
    std::uint64_t cases = 0;              // cuts with a loss
    std::uint64_t updated = 0;            // of the distinct disks behind them: the new release, wholly
    std::uint64_t untouched = 0;          // the old one, wholly
    std::uint64_t half_way = 0;           // with an active record, that the next start restores by
    std::uint64_t by_hand = 0;            // of the runs behind them: refused until a file was put back by hand
    std::vector<std::string> violations;  // "--replay LINE   # what is wrong"
};

// What one old release comes to, for the players of one client.
struct Part {
    std::uint32_t from = 0;
    std::string client;
    std::uint64_t files = 0;  // to fetch
    std::uint64_t bytes = 0;
    std::uint64_t peak_bytes = 0;  // of disk space, beyond what is taken before the update
    std::uint64_t requests = 0;    // to the endpoint
    std::vector<Story> stories;
    std::vector<Cuts> cuts;  // one, if they were asked for

    bool held() const;
};

struct Rehearsal {
    std::uint32_t to = 0;
    std::vector<Part> parts;

    bool held() const;
};

// What was tried, and whether it held.
void write_text(const Rehearsal& rehearsal, std::ostream& out);
// One line for each thing that didn't hold, with the helper's own words.
void write_failures(const Rehearsal& rehearsal, std::ostream& err);
// All of it, as one JSON document in ASCII.
void write_json(const Rehearsal& rehearsal, std::ostream& out);
// As one page in HTML that needs nothing beside itself.
void write_page(const Rehearsal& rehearsal, std::ostream& out);

}  // namespace vandrel_release
