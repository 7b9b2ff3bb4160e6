// What one more file costs in platform calls, derived row by row from what the rules ask for. The rows stand in
// docs/performance.md, too. The file is data/sub/x, the folder C:\Game, and the command file lies ten steps deep.
#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "tests/launcher/launcher_test.h"

namespace support {
namespace {

using Calls = std::map<std::string, int>;

Calls operator+(Calls a, const Calls& b) {
    for (const auto& [name, count] : b) a[name] += count;
    return a;
}
Calls operator*(int times, Calls calls) {
    for (auto& [name, count] : calls) count *= times;
    return calls;
}

constexpr int kTargetDepth = 4;    // steps to the parent of C:\Game\data\sub\x, from "C:\" on
constexpr int kStagedDepth = 7;    // of C:\Game\.vandrel-updater\JOB\files\data\sub\x; as many for its backup
constexpr int kCommandDepth = 10;  // prefixes of the command file's path, from "C:" on

const Calls kAttributes{{"GetFileAttributesW", 1}}, kQuery{{"GetFileAttributesExW", 1}};
const Calls kDecode{{"MultiByteToWideChar", 2}}, kEncode{{"WideCharToMultiByte", 2}};  // the length, then the text
const Calls kTicks{{"GetTickCount64", 1}};
const Calls kHashObject{
    {"BCryptOpenAlgorithmProvider", 1},  {"BCryptGetProperty", 1}, {"BCryptCreateHash", 1}, {"BCryptDestroyHash", 1},
    {"BCryptCloseAlgorithmProvider", 1}, {"BCryptFinishHash", 1}};

// No step of the path is a link: the full path, then each step.
Calls steps(int count) {
    return Calls{{"GetFullPathNameW", 1}} + count * kAttributes;
}
// A file may be written here: the root is a plain folder, the target lies within, no link on the way to the root nor to
// the target's parent, and a plain file or none at the target.
Calls destination(int parent) {
    return kAttributes + Calls{{"GetFullPathNameW", 2}} + steps(2) + steps(parent) + kAttributes;
}
// No link before (the drive's name is asked, too), the folder exists, no link after, and it is a folder.
Calls safe_directory(int depth) {
    return 2 * steps(depth + 1) + 2 * kQuery;
}
// SHA-256 of a file in `reads` pieces, and the read that finds its end.
Calls digest(int reads = 1) {
    return kHashObject +
           Calls{{"CreateFileW", 1}, {"ReadFile", reads + 1}, {"BCryptHashData", reads}, {"CloseHandle", 1}};
}
const Calls kMatches = kQuery + digest();  // the size, then the digest
// The command file is asked for; one that stands is guarded, read whole, and its job compared.
const Calls kNoCommand = kQuery;
const Calls kStandingCommand = kQuery + steps(kCommandDepth) +
                               Calls{{"CreateFileW", 1}, {"GetFileSizeEx", 1}, {"ReadFile", 1}, {"CloseHandle", 1}} +
                               kEncode;

struct Row {
    const char* rule;
    Calls calls;
};
using Rows = std::vector<Row>;

const Row kPolicy{"the policy", kDecode + kEncode + kDecode + destination(kTargetDepth)};
Rows check(const Calls& command, const Calls& comparison) {
    return {kPolicy, {"a cancel is listened for", command}, {"the comparison", kDecode + comparison}};
}
const Calls kOtherSize = kQuery;                     // no digest is taken of it
const Calls kMeasured = kQuery + kQuery + digest();  // it exists; its size and digest for the plan

const Calls kPass = kStandingCommand + kTicks + Calls{{"WinHttpReadData", 1}};
const Row kChunk{"64 KiB: read, written, hashed, told",
                 kPass + Calls{{"WriteFile", 1}, {"BCryptHashData", 1}} + kTicks};

Rows download() {
    return {{"a cancel is listened for before and behind the file", 2 * kStandingCommand},
            {"names and folder", kDecode + safe_directory(kStagedDepth)},
            {"the address", kDecode + kEncode},
            {"guards before and behind the folder's making", 2 * destination(kStagedDepth) + kQuery},
            {"stale parts", steps(kStagedDepth) + Calls{{"GetSystemTimeAsFileTime", 1}, {"FindFirstFileW", 1}}},
            {"the attempt's begin", 2 * kTicks + kStandingCommand},
            {"the request",
             {{"WinHttpCrackUrl", 1},
              {"WinHttpOpen", 1},
              {"WinHttpSetTimeouts", 1},
              {"WinHttpSetOption", 1},
              {"WinHttpConnect", 1},
              {"WinHttpOpenRequest", 1},
              {"WinHttpSendRequest", 1},
              {"WinHttpReceiveResponse", 1},
              {"WinHttpQueryHeaders", 1}}},
            {"the part", kHashObject + Calls{{"BCryptGenRandom", 1}, {"GetCurrentProcessId", 1}, {"CreateFileW", 1}}},
            kChunk,
            {"the end of the stream", kPass + Calls{{"WinHttpCloseHandle", 3}}},
            {"durable", {{"FlushFileBuffers", 1}, {"CloseHandle", 1}}},
            {"promoted", destination(kStagedDepth) + Calls{{"GetFullPathNameW", 2}} + steps(kStagedDepth + 1) +
                             2 * kAttributes + Calls{{"MoveFileExW", 1}}}};
}

// Three times the names: in the pre-flight, at the replacement, in the proof.
Rows install(const Calls& unchanged, const Calls& renamed) {
    return {
        {"pre-flight: target, staged file", kDecode + destination(kTargetDepth) + destination(kStagedDepth) + kMatches},
        {"pre-flight: the target is as planned", unchanged},
        {"folders of target and backup", kDecode + safe_directory(kTargetDepth) + safe_directory(kStagedDepth)},
        {"guards of target and backup", destination(kTargetDepth) + destination(kStagedDepth)},
        {"the failure's words", {{"FormatMessageW", 1}, {"LocalFree", 1}}},
        {"the rename", renamed},
        {"the proof", kDecode + kMatches}};
}
const Row kBackupGoes{"the backup is listed twice, guarded and deleted",
                      Calls{{"FindNextFileW", 2}, {"DeleteFileW", 1}} + steps(kStagedDepth + 2)};

Calls sum_of(const Rows& rows) {
    Calls sum;
    for (const Row& row : rows) sum = sum + row.calls;
    return sum;
}
int total_of(const Calls& calls) {
    int total = 0;
    for (const auto& [name, count] : calls) total += count;
    return total;
}

// The calls of one update, by stage: the check of either instance, the downloads, and all that follows.
struct Update {
    Calls check, check_again, download, install;
};

class Counter {
 public:
    Counter(const Files& before, const Files& after) {
        machine_.install(before);
        machine_.publish(2, after);
        machine_.client_answers("apply");
        machine_.start_client();
        for (const char* state : {"update_available", "downloading", "handoff"}) {
            machine_.on_state(state, [this, state] { reached_.emplace(state, gate().trace().size()); });
        }
        restart();
    }
    Update update() {
        Update counts;
        EXPECT_EQ(machine_.run_first().exit_code, 0);
        counts.check = between("", "update_available");
        restart();
        EXPECT_EQ(machine_.run_copy().exit_code, 0);
        counts.check_again = between("", "update_available");
        counts.download = between("downloading", "handoff");
        counts.install = between("handoff", "");
        return counts;
    }

 private:
    winsim::Gate& gate() { return machine_.world.gate; }
    void restart() {
        reached_.clear();
        gate().reset();
        gate().keep_trace(true);
    }
    Calls between(const std::string& from, const std::string& to) {
        const auto& trace = gate().trace();
        const std::size_t first = from.empty() ? 0 : reached_.at(from);
        const std::size_t last = to.empty() ? trace.size() : reached_.at(to);
        Calls calls;
        for (std::size_t i = first; i < last; ++i) {
            const std::size_t name = trace[i].find(' ') + 1;
            ++calls[trace[i].substr(name, trace[i].find(' ', name) - name)];
        }
        return calls;
    }

    Machine machine_;
    std::map<std::string, std::size_t> reached_;
};

// One more file in an update that has some of each kind.
Update one_more(const std::string& before, const std::string& after, const std::string& base_after = "") {
    Files old_files = minimal_client();
    Files new_files = old_files;
    new_files["init.lua"] = "-- another";
    new_files["data/sub/w"] = "new";
    old_files["data/sub/y"] = "old";
    new_files["data/sub/y"] = "now";
    const auto with = [](Files files, const std::string& content) {
        if (!content.empty()) files["data/sub/x"] = content;
        return files;
    };
    const Update base =
        Counter(with(old_files, base_after.empty() ? "" : before), with(new_files, base_after)).update();
    Update more = Counter(with(old_files, before), with(new_files, after)).update();
    const auto subtract = [](Calls& from, const Calls& calls) {
        from = from + -1 * calls;
        std::erase_if(from, [](const auto& item) { return item.second == 0; });
    };
    subtract(more.check, base.check);
    subtract(more.check_again, base.check_again);
    subtract(more.download, base.download);
    subtract(more.install, base.install);
    return more;
}

struct Expected {
    const char* stage;
    Calls counted;
    Rows rows;
    int total;
};

void expect_costs(const char* file, const std::vector<Expected>& stages) {
    for (const Expected& stage : stages) {
        SCOPED_TRACE(std::string(file) + ", " + stage.stage);
        EXPECT_EQ(stage.counted, sum_of(stage.rows));
        EXPECT_EQ(total_of(stage.counted), stage.total);
    }
}

TEST(PlatformCalls, AFileCostsWhatTheRulesAskForAndNothingElse) {
    const Update same = one_more("same", "same");
    expect_costs("unplanned", {{"check", same.check, check(kNoCommand, kMatches), 33},
                               {"check with an answer", same.check_again, check(kStandingCommand, kMatches), 50},
                               {"download", same.download, {}, 0},
                               {"install", same.install, {}, 0}});
    Rows replaced = install(kMatches, {{"ReplaceFileW", 1}});
    replaced.push_back(kBackupGoes);
    const Calls planned = kOtherSize + kMeasured;
    const Update grown = one_more("old", "longer");
    expect_costs("replaced", {{"check", grown.check, check(kNoCommand, planned), 35},
                              {"check with an answer", grown.check_again, check(kStandingCommand, planned), 52},
                              {"download", grown.download, download(), 218},
                              {"install", grown.install, replaced, 146}});
    const Update edited = one_more("old", "new");
    expect_costs("replaced, of the same size", {{"check", edited.check, check(kNoCommand, kMatches + kMeasured), 46}});
    const Update fresh = one_more("", "new");
    const Calls absent = 2 * kQuery;  // no file has the entry's size; nothing exists
    expect_costs("new", {{"check", fresh.check, check(kNoCommand, absent), 23},
                         {"check with an answer", fresh.check_again, check(kStandingCommand, absent), 40},
                         {"download", fresh.download, download(), 218},
                         {"install", fresh.install, install(kQuery, {{"MoveFileExW", 1}}), 122}});
}

TEST(PlatformCalls, AFurtherChunkIsListenedForTimedReadWrittenHashedAndTold) {
    const std::string chunk(65536, 'x');
    const Update further = one_more("old", chunk + "x", chunk);
    expect_costs("further chunk", {{"check", further.check, {}, 0},
                                   {"download", further.download, {kChunk}, 23},
                                   {"install", further.install, {}, 0}});
}

}  // namespace
}  // namespace support
