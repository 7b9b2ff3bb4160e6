#include "tests/interruption/neighbour_words.h"

#include <algorithm>
#include <array>
#include <vector>

#include "tests/interruption/fault_texts.h"
#include "tests/interruption/oracle.h"
#include "tests/interruption/texts.h"

namespace interruption {
namespace {

struct Touches {
    std::uint64_t plan_first = 0;
    std::uint64_t plan_last = 0;
    std::uint64_t proof_first = 0;
    std::uint64_t change = 0;
    std::uint64_t verify_first = 0;
    std::uint64_t verify_last = 0;
};

// The calls of the copy that look at the target or change it, by what they are for.
Touches touches_of(const Story& story, const std::string& file) {
    Touches touches;
    for (const BaseCall& call : story.base.calls) {
        if (call.run != Run::copy || !touches_target(call, file)) continue;
        const bool changes = call.name == "ReplaceFileW" || call.name == "MoveFileExW" || call.name == "DeleteFileW";
        if (call.phase == Phase::check) {
            if (touches.plan_first == 0) touches.plan_first = call.number;
            touches.plan_last = call.number;
        } else if (changes) {
            touches.change = call.number;
        } else if (touches.change == 0 && touches.proof_first == 0) {
            touches.proof_first = call.number;
        } else if (touches.change != 0) {
            if (touches.verify_first == 0) touches.verify_first = call.number;
            touches.verify_last = call.number;
        }
    }
    return touches;
}

const char* name_of(Window window) {
    constexpr std::array<const char*, 7> names{"before_plan", "planning",  "planned", "proving",
                                               "changed",     "verifying", "proved"};
    return names.at(static_cast<std::size_t>(window));
}

constexpr const char* kOtherClient = "Outro cliente desta pasta esta aberto. Feche-o e tente novamente.";
constexpr const char* kReplace = "Substituir arquivo com backup (L)";
constexpr const char* kRestore = "Restaurar arquivo anterior (L)";
constexpr const char* kRemove = "Remover arquivo gerenciado (L)";
constexpr const char* kPrepare = "Preparar auxiliar temporario (L)";  // the helper's own file is the one that has gone
constexpr const char* kOpen = "Falha ao abrir arquivo para verificacao (L)";
constexpr const char* kPromotion = "Falha na promocao atomica (w)";

constexpr const char* kAlways = "*";
// Deeds without a file: before and after the last look for other clients.
constexpr const char* kEarly = "early";
constexpr const char* kLate = "late";

struct Row {
    std::string_view story;
    const char* deeds;  // names, or beginnings of names with "*", between blanks
    const char* windows;
    std::vector<const char*> texts;
};

const std::vector<Row>& rows() {
    static const std::vector<Row> table{
        {"update", "edited", "before_plan", {kInstalled}},
        {"update", "edited", "planning", {kInstalled, kChanged}},
        {"update", "edited", "planned", {kChanged}},
        {"update", "edited", "proving", {kChanged, kInstalled, kNewAltered}},
        {"update", "edited flipped", "changed", {kAltered, kNewAltered}},
        {"update", "edited flipped", "verifying", {kAltered, kNewAltered, kInstalled}},
        {"update", "edited flipped", "proved", {kInstalled}},
        {"update", "flipped", "before_plan", {kInstalled}},
        {"update", "flipped", "planning", {kChanged, kInstalled}},
        {"update", "flipped", "planned", {kChanged}},
        {"update", "flipped", "proving", {kChanged, kInstalled}},
        {"update", "deleted", "before_plan", {kInstalled, kPrepare, kUnverified}},
        {"update", "deleted", "planning", {kInstalled, kChanged, kUnverified, kOpen}},
        {"update", "deleted", "planned", {kChanged}},
        {"update", "deleted", "proving", {kChanged, kNoBackup}},
        {"update", "deleted", "changed", {kFinalCheck}},
        {"update", "deleted", "verifying", {kFinalCheck, kInstalled}},
        {"update", "deleted", "proved", {kInstalled}},
        {"update", "read-only", "before_plan planning planned proving", {kReplace}},
        {"update", "read-only", "changed verifying proved", {kInstalled}},
        {"update", "folder junction", "before_plan", {kUnverified, kNoFile, kOpen, kPrepare}},
        {"update", "folder junction", "planning", {kUnverified, kNoFile, kOpen}},
        {"update", "folder junction", "planned changed", {kNoFile}},
        {"update", "folder junction", "proving", {kNoFile, kChanged}},
        {"update", "folder junction", "verifying", {kNoFile, kInstalled}},
        {"update", "folder junction", "proved", {kInstalled}},
        {"update", "staged-flipped", "before_plan planning planned", {kStagedDiffers}},
        {"update", "staged-flipped", "proving", {kStagedDiffers, kAltered, kNewAltered}},
        {"update", "backup-flipped half-* reader-80", kAlways, {kInstalled}},
        {"update", "client", kEarly, {kOtherClient}},
        {"update", "client", kLate, {kInstalled}},
        {"restoration", "edited flipped", "before_plan planning planned", {kAltered, kNewAltered}},
        {"restoration", "edited flipped", "proving", {kAltered, kNewAltered, kRestored}},
        {"restoration", "edited flipped", "changed verifying proved", {kRestored}},
        {"restoration", "deleted", "before_plan planning planned", {kRestored, kPrepare}},
        {"restoration", "deleted", "proving", {kRestored, kAltered, kNewAltered, kRemove}},
        {"restoration", "deleted", "changed verifying proved", {kRestored}},
        {"restoration", "read-only", "before_plan planning planned", {kRestore, kRemove}},
        {"restoration", "read-only", "proving", {kRestore, kRemove, kRestored}},
        {"restoration", "read-only", "changed verifying proved", {kRestored}},
        {"restoration", "folder junction", "before_plan planning planned", {kNoFile, kPrepare}},
        {"restoration", "folder junction", "proving", {kNoFile, kAltered, kNewAltered, kRestore, kRemove}},
        {"restoration", "folder junction", "changed verifying proved", {kRestored}},
        {"restoration", "backup-flipped", "before_plan planning planned", {kBackupDiffers}},
        {"restoration", "backup-flipped", "proving", {kBackupDiffers, kRestored}},
        {"restoration", "staged-flipped half-* reader-80", kAlways, {kRestored}},
        {"restoration", "client", kEarly, {kOtherClient}},
        {"restoration", "client", kLate, {kRestored}},
        // Somebody who doesn't let go: the write's patience ends. The last report may fail in the same way, and leaves
        // the status before it.
        {"update",
         "reader-30000 scanner-*",
         kAlways,
         {kInstalled, kPromotion, "Verificando atualizacoes...", "Atualizacao disponivel.",
          "Baixando arquivos verificados...", "Arquivos verificados. Reiniciando o cliente..."}},
        {"restoration",
         "reader-30000 scanner-*",
         kAlways,
         {kRestored, kPromotion, "Verificando atualizacoes...", "Uma instalacao interrompida precisa ser restaurada.",
          "Fechando cliente para restaurar arquivos anteriores..."}},
        // A scanner that keeps a staged file makes its replacement fail, and the discard behind the roll-back, too; one
        // that keeps the active record makes the commit fail.
        {"update", "scanner-*", kAlways, {kLocal, kRemove, kReplace}},
    };
    return table;
}

const char* when(const Story& story, const Deed& deed) {
    if (!deed.file.empty()) return name_of(window_of(story, deed));
    std::uint64_t last_look = 0;
    for (const BaseCall& call : story.base.calls) {
        if (call.run == Run::copy && call.name == "CreateToolhelp32Snapshot") last_look = call.number;
    }
    return deed.run == Run::first || deed.call <= last_look ? kEarly : kLate;
}

// What somebody has written into a file is overwritten only where the rules accept it: an update that has found it
// there replaces it with the player's consent; and between the last check of a file and its change lies the gap that
// they name. A new file has no such gap: its rename never replaces.
bool is_lost(const Visit& visit, const Story& story, const Deed& deed) {
    if (deed.what != "edited") return false;
    const Window window = window_of(story, deed);
    const bool update = story.name == "update";
    if (update && window <= Window::planning) return false;
    const bool has_gap = !update || release_files(kOldRelease).contains(deed.file);
    if (window == Window::proving && has_gap) return false;
    const winsim::Disk& disk = visit.machine.world.disk;
    const std::wstring target = target_of(deed.file);
    return !disk.exists(target) || disk.is_folder(target) || disk.read(target) != kEdited;
}

}  // namespace

bool touches_target(const BaseCall& call, const std::string& file) {
    // As the helper writes it: with the release's own separators.
    return call.subject == std::wstring(support::kRoot) + L"\\" + support::wide(file);
}

Window window_of(const Story& story, const Deed& deed) {
    const Touches touches = touches_of(story, deed.file);
    if (deed.run == Run::first || deed.call <= touches.plan_first) return Window::before_plan;
    if (deed.call <= touches.plan_last) return Window::planning;
    if (touches.proof_first != 0 && deed.call <= touches.proof_first) return Window::planned;
    if (deed.call <= touches.change) return Window::proving;
    if (touches.verify_first != 0 && deed.call <= touches.verify_first) return Window::changed;
    return deed.call <= touches.verify_last ? Window::verifying : Window::proved;
}

std::string wrong_words_beside(const Visit& visit, const Story& story, const Deed& deed, bool done, bool succeeded) {
    if (!visit.machine.has_status()) return "no status was written";
    const support::Status status = visit.machine.status();
    if ((status.state == "current") != succeeded) return "exit code and status disagree: " + status.state;
    if (!done) {
        const char* const usual = story.name == "update" ? kInstalled : kRestored;
        return status.detail == usual ? "" : "no deed, but " + status.state + " '" + status.detail + "'";
    }
    if (is_lost(visit, story, deed)) return "the neighbour's work is lost";
    for (const Row& row : rows()) {
        if (row.story != story.name || !lists(row.deeds, deed.what)) continue;
        if (!lists(row.windows, when(story, deed))) continue;
        for (const char* text : row.texts) {
            if (reads_like(status.detail, text)) return {};
        }
    }
    return std::string("no rule says so (") + when(story, deed) + "): " + status.state + " '" + status.detail + "'";
}

}  // namespace interruption
