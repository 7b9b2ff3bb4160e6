// MoveFileExW with the flags 8 and 9, and ReplaceFileW: what goes, what doesn't, and what then stands at each name.
#include "lab/probes/probe.h"

namespace {

using namespace probe;

constexpr const wchar_t* kTarget = L"C:\\probe\\target";
constexpr const wchar_t* kSource = L"C:\\probe\\source";
constexpr const wchar_t* kBackup = L"C:\\probe\\backup";
constexpr const wchar_t* kFolder = L"C:\\probe\\real";
constexpr const wchar_t* kNowhere = L"C:\\probe\\missing\\x";

// What is done to the three names before the call. Without anything there is a target "old" and a source "new".
enum Setting : unsigned {
    kPlain = 0,
    kNoTarget = 1,
    kNoSource = 2,
    kBackupThere = 4,  // with the content "older"
    kReadOnly = 8,     // the target, and a backup that is there
    kTargetHeld = 16,  // for reading, sharing that alone
    kTargetShared = 32,
    kSourceHeld = 64,
    kSourceShared = 128,
    kBackupHeld = 256,
};

HANDLE hold(const wchar_t* name, unsigned set, unsigned held, unsigned shared) {
    if ((set & (held | shared)) == 0) return nullptr;
    return open(name, GENERIC_READ, (set & shared) != 0 ? kShareAll : FILE_SHARE_READ, OPEN_EXISTING);
}

void arrange(const wchar_t* name, const char* text, bool there, bool read_only) {
    if (GetFileAttributesW(name) != INVALID_FILE_ATTRIBUTES) make_read_only(name, false);
    DeleteFileW(name);
    if (there) put(name, text);
    if (there && read_only) make_read_only(name, true);
}

// Says how the call went, and the contents of target, source and backup behind it.
template <class Rename>
void attempt(const std::string& key, unsigned set, Rename rename, const char* wine = nullptr) {
    const auto has = [set](unsigned setting) { return (set & setting) != 0; };
    arrange(kTarget, "old", !has(kNoTarget), has(kReadOnly) && !has(kBackupThere));
    arrange(kSource, "new", !has(kNoSource), false);
    arrange(kBackup, "older", has(kBackupThere), has(kReadOnly));
    HANDLE holders[] = {hold(kTarget, set, kTargetHeld, kTargetShared), hold(kSource, set, kSourceHeld, kSourceShared),
                        hold(kBackup, set, kBackupHeld, 0)};
    SetLastError(0);
    const std::string result = outcome(rename());
    for (HANDLE holder : holders) {
        if (holder != nullptr) CloseHandle(holder);
    }
    say(key, result + ": " + content(kTarget) + " " + content(kSource) + " " + content(kBackup), wine);
}

struct Row {
    const char* key;
    unsigned set;
};

auto move(const wchar_t* to, DWORD flags) {
    return [to, flags] { return MoveFileExW(kSource, to, flags) != FALSE; };
}

void moves() {
    constexpr Row rows[] = {
        {"target free", kNoTarget},
        {"target there", kPlain},
        {"source missing", kNoSource},
        {"source held", kSourceHeld | kNoTarget},
        {"source held, shared", kSourceShared | kNoTarget},
        {"target held", kTargetHeld},
    };
    for (const DWORD flags : {8U, 9U}) {
        const std::string call = "move " + number(flags) + ", ";
        for (const Row& row : rows) attempt(call + row.key, row.set, move(kTarget, flags));
        attempt(call + "folder missing", kPlain, move(kNowhere, flags));
        attempt(call + "target a folder", kPlain, move(kFolder, flags));
    }
    attempt("move 8, only the spelling", kPlain, move(L"C:\\probe\\SOURCE", 8));
    attempt("move 9, target read-only", kReadOnly, move(kTarget, 9), "a read-only target is replaced");
    attempt("move 9, target held, shared", kTargetShared, move(kTarget, 9), "any open handle on the target forbids it");
}

auto replace(const wchar_t* backup, const wchar_t* target = kTarget, const wchar_t* source = kSource) {
    return [=] { return ReplaceFileW(target, source, backup, REPLACEFILE_WRITE_THROUGH, nullptr, nullptr) != FALSE; };
}

void replacements() {
    constexpr Row rows[] = {
        {"plain", kPlain},
        {"target missing", kNoTarget},
        {"source missing", kNoSource},
        {"target read-only", kReadOnly},
        {"target held", kTargetHeld},
        {"target held, shared", kTargetShared},
        {"source held", kSourceHeld},
        {"source held, shared", kSourceShared},
        {"a file at the backup's name", kBackupThere},
    };
    for (const Row& row : rows) {
        attempt(std::string("replace, ") + row.key, row.set, replace(nullptr));
        attempt(std::string("replace with backup, ") + row.key, row.set, replace(kBackup));
    }
    attempt("replace, backup's folder missing", kPlain, replace(kNowhere));
    attempt("replace, target's folder missing", kPlain, replace(nullptr, kNowhere));
    attempt("replace, source a folder", kPlain, replace(nullptr, kTarget, kFolder));
    attempt("replace, target a folder", kPlain, replace(nullptr, kFolder), "a folder is replaced");
}

void replacements_with_a_backup_that_stays() {
    attempt("replace, backup held", kBackupThere | kBackupHeld, replace(kBackup), "its steps give their own numbers");
    attempt("replace, backup read-only", kBackupThere | kReadOnly, replace(kBackup), "a read-only one is overwritten");
}

}  // namespace

void probe::run() {
    moves();
    replacements_with_a_backup_that_stays();
    replacements();
}
