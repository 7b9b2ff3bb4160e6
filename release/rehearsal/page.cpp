// The report as one page that needs nothing beside itself: no script, no picture, light and dark.
#include <algorithm>
#include <ostream>
#include <string>

#include "release/refusal.h"
#include "release/rehearsal/report.h"

namespace vandrel_release {
namespace {

constexpr const char* kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<style>
:root { --ink: #1c2330; --soft: #5b6577; --paper: #fbfbfd; --card: #fff; --line: #d9dee8; --good: #1f7a4d;
        --bad: #b3261e; --fetch: #2f6fde; --peak: #8a5cd6; --old: #7d8799; --half: #d08a1d; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e7eaf1; --soft: #9aa5b8; --paper: #12151c; --card: #1a1f29; --line: #313949; --good: #58c48d;
          --bad: #ff8a80; --fetch: #6ea3ff; --peak: #b794f6; --old: #8c97ab; --half: #f0b55a; }
}
body { margin: 0 auto; padding: 2rem 1.25rem 4rem; max-width: 62rem; background: var(--paper); color: var(--ink);
       font: 16px/1.5 system-ui, sans-serif; }
h1 { font-size: 1.6rem; margin: 0 0 .25rem; }
h2 { font-size: 1.1rem; margin: 0 0 .75rem; display: flex; gap: .6rem; align-items: baseline; flex-wrap: wrap; }
section { background: var(--card); border: 1px solid var(--line); border-radius: .6rem; padding: 1rem 1.25rem;
          margin-top: 1.25rem; }
.soft { color: var(--soft); }
.held { color: var(--good); } .failed { color: var(--bad); }
.mark { font-size: .85rem; font-weight: 600; }
.row { display: grid; grid-template-columns: 9rem 1fr 10rem; gap: .75rem; align-items: center; margin: .3rem 0;
       font-size: .9rem; }
.row span:last-child { text-align: right; font-variant-numeric: tabular-nums; }
.bar { height: .7rem; border-radius: .35rem; background: var(--line); overflow: hidden; display: flex; }
.bar i { display: block; height: 100%; }
.fetch { background: var(--fetch); } .peak { background: var(--peak); } .old { background: var(--old); }
.new { background: var(--good); } .half { background: var(--half); }
.story { margin: 1rem 0 0; border-top: 1px solid var(--line); padding-top: .75rem; }
.story h3 { font-size: .95rem; margin: 0 0 .4rem; }
ol { list-style: none; display: flex; margin: 0; padding: .5rem 0 0; overflow-x: auto; }
li { flex: 1 0 7.5rem; border-top: 3px solid var(--line); padding: .35rem .5rem 0 0;
     font-size: .8rem; position: relative; }
li::before { content: ""; position: absolute; top: -.45rem; left: 0; width: .6rem; height: .6rem; border-radius: 50%;
             background: var(--fetch); }
li:last-child { border-color: transparent; }
li.held::before { background: var(--good); } li.failed::before { background: var(--bad); }
li.held, li.failed { color: inherit; } li.held b { color: var(--good); } li.failed b { color: var(--bad); }
li b { display: block; } pre { white-space: pre-wrap; overflow-wrap: anywhere; font-size: .8rem; }
@media (max-width: 40rem) {
  .row { grid-template-columns: 1fr; gap: .15rem; }
  .row span:last-child { text-align: left; }
}
</style>
)";

// Text between tags, or in an attribute between double quotes.
std::string escaped(const std::string& text) {
    std::string result;
    for (const char unit : printable(text)) {
        switch (unit) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                result += unit;
        }
    }
    return result;
}

// 3145752 as "3,145,752".
std::string grouped(std::uint64_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t at = digits.size(); at > 3; at -= 3) digits.insert(at - 3, 1, ',');
    return digits;
}

std::string bytes_text(std::uint64_t bytes) {
    return grouped(bytes) + (bytes == 1 ? " byte" : " bytes");
}

// "8.2 s", "3 min 20 s".
std::string time_text(std::uint64_t ms) {
    if (ms < 60000) return std::to_string(ms / 1000) + "." + std::to_string(ms % 1000 / 100) + " s";
    return std::to_string(ms / 60000) + " min " + std::to_string(ms % 60000 / 1000) + " s";
}

const char* mark(bool held) {
    return held ? "<span class=\"mark held\">held</span>" : "<span class=\"mark failed\">failed</span>";
}

class Page {
 public:
    Page(const Rehearsal& rehearsal, std::ostream& out) : rehearsal_(rehearsal), out_(out) {
        for (const Part& part : rehearsal.parts) most_ = std::max({most_, part.bytes, part.peak_bytes});
    }

    void write() {
        const std::string title = "Rehearsal of release " + std::to_string(rehearsal_.to);
        out_ << kHead << "<title>" << title << "</title>\n</head>\n<body>\n<h1>" << title << "</h1>\n<p class=\"soft\">"
             << rehearsal_.parts.size() << (rehearsal_.parts.size() == 1 ? " player's machine" : " players' machines")
             << ", simulated, with the helper's own code. " << mark(rehearsal_.held()) << "</p>\n";
        for (const Part& part : rehearsal_.parts) write(part);
        out_ << "</body>\n</html>\n";
    }

 private:
    void write(const Part& part) {
        out_ << "<section>\n<h2>From release " << part.from << " <span class=\"soft\">" << escaped(part.client)
             << "</span> " << mark(part.held()) << "</h2>\n";
        bar("to fetch", "fetch", part.bytes, most_, bytes_text(part.bytes));
        bar("disk at the peak", "peak", part.peak_bytes, most_, bytes_text(part.peak_bytes));
        out_ << "<p class=\"soft\">" << grouped(part.files) << " files, " << grouped(part.requests)
             << " requests</p>\n";
        for (const Story& story : part.stories) write(story);
        for (const Cuts& cuts : part.cuts) write(cuts);
        out_ << "</section>\n";
    }

    void bar(const char* name, const char* kind, std::uint64_t size, std::uint64_t whole, const std::string& text) {
        out_ << "<div class=\"row\"><span>" << name << "</span><span class=\"bar\"><i class=\"" << kind
             << "\" style=\"width:" << size * 100 / std::max<std::uint64_t>(1, whole) << "%\"></i></span><span>" << text
             << "</span></div>\n";
    }

    void write(const Story& story) {
        const bool held = story.wrong.empty();
        out_ << "<div class=\"story\"><h3>" << escaped(story.name) << ' ' << mark(held) << "</h3>\n<ol>\n";
        for (std::size_t i = 0; i < story.beats.size(); ++i) {
            const Beat& beat = story.beats[i];
            const bool last = i + 1 == story.beats.size();
            out_ << "<li" << (last ? (held ? " class=\"held\"" : " class=\"failed\"") : "") << "><b>"
                 << escaped(beat.state) << "</b>" << time_text(beat.ms) << "<br>" << escaped(beat.detail) << "</li>\n";
        }
        out_ << "</ol>\n";
        if (!held) out_ << "<pre class=\"failed\">" << escaped(story.wrong) << "</pre>\n";
        out_ << "</div>\n";
    }

    void write(const Cuts& cuts) {
        const std::uint64_t disks = std::max<std::uint64_t>(1, cuts.untouched + cuts.updated + cuts.half_way);
        out_ << "<div class=\"story\"><h3>power cuts " << mark(cuts.violations.empty()) << "</h3>\n<p>"
             << (cuts.all ? "All " : "A sample of ") << grouped(cuts.cases)
             << " cuts, with what each may lose. What was left behind them"
             << (cuts.violations.empty() ? ", all of it whole after the next starts:" : ":") << "</p>\n";
        bar("the old release", "old", cuts.untouched, disks, grouped(cuts.untouched) + " disks");
        bar("the new one", "new", cuts.updated, disks, grouped(cuts.updated) + " disks");
        bar("to be taken back", "half", cuts.half_way, disks, grouped(cuts.half_way) + " disks");
        if (cuts.by_hand != 0) {
            out_ << "<p class=\"soft\">" << grouped(cuts.by_hand)
                 << " of the starts were refused until a file was put back by hand.</p>\n";
        }
        for (const std::string& violation : cuts.violations) {
            out_ << "<pre class=\"failed\">" << escaped(violation) << "</pre>\n";
        }
        out_ << "</div>\n";
    }

    const Rehearsal& rehearsal_;
    std::ostream& out_;
    std::uint64_t most_ = 0;
};

}  // namespace

void write_page(const Rehearsal& rehearsal, std::ostream& out) {
    Page(rehearsal, out).write();
}

}  // namespace vandrel_release
