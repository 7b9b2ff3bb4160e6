#include "release/rehearsal/report.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "release/refusal.h"

namespace vandrel_release {
namespace {

using nlohmann::ordered_json;

std::string title_of(const Part& part) {
    return "release " + std::to_string(part.from) + ", " + part.client;
}

void print_part(const Part& part, std::ostream& out) {
    out << title_of(part) << ": " << part.files << " files, " << part.bytes << " bytes to fetch, " << part.peak_bytes
        << " bytes of disk at the peak, " << part.requests << " requests\n";
    for (const Story& story : part.stories) {
        out << "  " << story.name << ": " << (story.wrong.empty() ? "held, " : "FAILED, ") << printable(story.words)
            << '\n';
    }
    for (const Cuts& cuts : part.cuts) {
        out << "  power cuts: " << (cuts.violations.empty() ? "held, " : "FAILED, ")
            << (cuts.all ? "all " : "a sample of ") << cuts.cases << "; what they left: " << cuts.untouched
            << " times the old release, " << cuts.updated << " times the new one, " << cuts.half_way
            << " times an update to be taken back (" << cuts.by_hand
            << " of the starts refused until a file was put back by hand)\n";
    }
}

ordered_json json_of(const Story& story) {
    ordered_json beats = ordered_json::array();
    for (const Beat& beat : story.beats) {
        beats.push_back({{"ms", beat.ms}, {"state", beat.state}, {"detail", beat.detail}});
    }
    return {{"name", story.name},
            {"held", story.wrong.empty()},
            {"words", story.words},
            {"wrong", story.wrong},
            {"beats", beats}};
}

ordered_json json_of(const Cuts& cuts) {
    return {{"all", cuts.all},
            {"crashPoints", cuts.crash_points},
            {"cases", cuts.cases},
            {"oldRelease", cuts.untouched},
            {"newRelease", cuts.updated},
            {"toBeTakenBack", cuts.half_way},
            {"putBackByHand", cuts.by_hand},
            {"violations", cuts.violations}};
}

ordered_json json_of(const Part& part) {
    ordered_json document{{"from", part.from},        {"client", part.client}, {"held", part.held()},
                          {"files", part.files},      {"bytes", part.bytes},   {"peakBytes", part.peak_bytes},
                          {"requests", part.requests}};
    document["stories"] = ordered_json::array();
    for (const Story& story : part.stories) document["stories"].push_back(json_of(story));
    if (!part.cuts.empty()) document["cuts"] = json_of(part.cuts.front());
    return document;
}

}  // namespace

bool Part::held() const {
    return std::ranges::all_of(stories, [](const Story& story) { return story.wrong.empty(); }) &&
           std::ranges::all_of(cuts, [](const Cuts& tried) { return tried.violations.empty(); });
}

bool Rehearsal::held() const {
    return std::ranges::all_of(parts, [](const Part& part) { return part.held(); });
}

void write_text(const Rehearsal& rehearsal, std::ostream& out) {
    std::size_t stories = 0;
    for (const Part& part : rehearsal.parts) {
        print_part(part, out);
        stories += part.stories.size() + part.cuts.size();
    }
    out << "rehearsed release " << rehearsal.to << ": " << stories << " stories, "
        << (rehearsal.held() ? "all held\n" : "not all held\n");
}

void write_failures(const Rehearsal& rehearsal, std::ostream& err) {
    for (const Part& part : rehearsal.parts) {
        const std::string begin = "vandrel-release: " + title_of(part) + ", ";
        for (const Story& story : part.stories) {
            if (!story.wrong.empty()) err << begin << story.name << ": " << printable(story.wrong) << '\n';
        }
        for (const Cuts& cuts : part.cuts) {
            for (const std::string& violation : cuts.violations) err << begin << printable(violation) << '\n';
        }
    }
}

void write_json(const Rehearsal& rehearsal, std::ostream& out) {
    ordered_json document{{"to", rehearsal.to}, {"held", rehearsal.held()}};
    document["players"] = ordered_json::array();
    for (const Part& part : rehearsal.parts) document["players"].push_back(json_of(part));
    out << document.dump(2, ' ', true, ordered_json::error_handler_t::replace) << '\n';
}

}  // namespace vandrel_release
