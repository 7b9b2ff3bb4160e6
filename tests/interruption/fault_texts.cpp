#include "tests/interruption/fault_texts.h"

#include <algorithm>
#include <sstream>
#include <string_view>
#include <vector>

#include "base/failure.h"
#include "tests/interruption/places.h"
#include "tests/interruption/texts.h"
#include "winsim/disk_names.h"

namespace interruption {
namespace {

// Marks in the table beside plain texts. In a text, (S) stands for the failed call's own number with the system's
// words, (W) for "(Windows <the failed call's own number>)", (L) for an older number with the system's words, (w) for
// another call's "(Windows <number>)".
constexpr const char* kAsIf = "=";           // the visit ends as if nothing had failed
constexpr const char* kSilent = "silent";    // an error without a text, on purpose
constexpr const char* kUnsaid = "unsaid";    // the final report couldn't be written: the status before it stays
constexpr const char* kGarbled = "garbled";  // a text that can't be converted is empty, also in the status itself

constexpr const char* kEscapes = "Destino de download escapa da pasta permitida ou contem redirecionamento.";
constexpr const char* kRedirected = "Diretorio com redirecionamento recusado.";
constexpr const char* kUnsafe = "Diretorio inseguro.";
constexpr const char* kRefused = "Caminho com redirecionamento recusado.";
constexpr const char* kNoPart = "Arquivo parcial deixou de ser regular antes da promocao.";
constexpr const char* kInspect = "Falha ao inspecionar destino (W)";
constexpr const char* kArguments = "Argumentos ou caminho local do atualizador invalidos.";
constexpr const char* kFolder = "Pasta do cliente invalida.";
constexpr const char* kIncomplete = "Pasta sem cliente Vandrel completo.";
constexpr const char* kExecutable = "Executavel redirecionado recusado.";
constexpr const char* kProfile = "Perfil com redirecionamento recusado.";
constexpr const char* kSignature = "Assinatura digital do manifesto rejeitada.";
constexpr const char* kKey = "Hash da pasta falhou.";
constexpr const char* kHttp = "Falha HTTP no download (W)";
constexpr const char* kPromotion = "Falha na promocao atomica (W)";
constexpr const char* kFolderMoved = "Diretorio de transacao redirecionado.";
constexpr const char* kEntryMoved = "Arquivo temporario redirecionado.";
constexpr const char* kWriteTemporary = "Falha ao gravar arquivo temporario.";
constexpr const char* kCancelHalfHeard =
    "Download cancelado.";  // the poll behind the download failed, not the one in it
constexpr const char* kNoSafeFolder = "Falha ao criar pasta segura para download.";

struct Row {
    const char* calls;   // names or beginnings of names with "*", between blanks
    const char* phases;  // of Phase, between blanks; "*": any
    const char* places;  // of place_of, between blanks; "*": any
    std::vector<const char*> texts;
};

const std::vector<Row>& rows() {
    static const std::vector<Row> table{
        // Calls that can't fail in a way that anybody would notice.
        {"FormatMessageW BCryptClose* BCryptDestroy* BCryptGenRandom GetCommandLineW", "*", "*", {kAsIf}},
        {"WinHttpCloseHandle WinHttpSetOption WinHttpSetTimeouts", "*", "*", {kAsIf}},
        // The command file: whatever fails in reading it, there is no command for now. That it exists is asked outside
        // of the guard.
        {"CreateFileW ReadFile GetFileSizeEx GetFileAttributesW GetFullPathNameW", "*", "command", {kAsIf}},
        {"CreateFileW ReadFile GetFileSizeEx GetFullPathNameW GetFileAttributesW",
         "downloading",
         "command above",
         {kCancelHalfHeard}},
        {"GetFileAttributesExW", "*", "command", {kAsIf, kLocal}},
        // Launch.
        {"CommandLineToArgvW", "launch", "*", {"Argumentos invalidos."}},
        {"SHGetFolderPathW", "launch", "*", {"AppData indisponivel."}},
        {"GetModuleFileNameW", "launch offered", "*", {"Nao foi possivel identificar o atualizador."}},
        {"GetTempPathW", "launch offered", "*", {"TEMP indisponivel."}},
        {"GetTempPathW", "offered", "*", {kAsIf}},
        {"GetFileAttributesExW", "launch", "root", {kArguments, kFolder}},
        {"GetFileAttributesExW", "launch", "target", {kArguments, kIncomplete}},
        {"GetFileAttributesExW", "launch", "above", {kAsIf, kArguments, kUnsafe}},
        {"GetFullPathNameW", "launch", "copy", {kArguments}},
        {"GetFullPathNameW GetFileAttributesW", "launch", "root", {kArguments, kFolder, kExecutable, kAsIf}},
        {"GetFullPathNameW GetFileAttributesW", "launch", "target", {kExecutable, kAsIf}},
        {"GetFullPathNameW GetFileAttributesW",
         "launch",
         "above",
         {kAsIf, kSilent, kArguments, kEscapes, kRedirected, kUnsafe, kExecutable, kFolder, kProfile}},
        // The lock, the client, the manifest.
        {"CreateMutexW", "check", "*", {"Criar trava de atualizacao (S)"}},
        {"OpenProcess", "check", "*", {"Abrir processo do cliente (S)"}},
        {"QueryFullProcessImageNameW", "check", "*", {"PID nao pertence ao backend desta pasta."}},
        {"WaitForSingleObject", "check", "*", {"Outro atualizador esta usando esta pasta."}},
        {"WinHttpCrackUrl", "check downloading", "*", {"URL de download invalida (W)"}},
        {"WinHttpOpen", "check", "*", {"WinHttpOpen (W)"}},
        {"WinHttpConnect", "check", "*", {"WinHttpConnect (W)"}},
        {"WinHttpOpenRequest", "check", "*", {"WinHttpOpenRequest (W)"}},
        {"WinHttpSendRequest WinHttpReceiveResponse", "check", "*", {kHttp}},
        {"WinHttpQueryHeaders", "check", "*", {"Falha ao validar status HTTP (W)"}},
        {"WinHttpReadData", "check", "*", {"Download interrompido (W)", kAsIf}},
        {"BCryptImportKeyPair BCryptVerifySignature", "check", "*", {kSignature}},
        {"BCryptOpen* BCryptGetProperty BCryptCreateHash BCryptHashData BCryptFinishHash",
         "check",
         "*",
         {kSignature, kKey, kUnverified, kAsIf}},
        // The comparison: what can't be read differs, and is then measured or not.
        {"CreateFileW ReadFile", "check", "target", {kUnverified, kAsIf}},
        {"GetFileAttributesExW", "check", "target", {kUnverified, kLocal, kAsIf, kChanged}},
        {"GetFileAttributesW GetFullPathNameW", "check", "target", {kEscapes, kAsIf, kLocal}},
        {"GetFullPathNameW GetFileAttributesW", "check", "root above", {kLocal, kEscapes}},
        // The record in a restoration.
        {"GetFileAttributesExW", "check", "active", {kLocal}},
        {"CreateFileW", "check", "active", {"Abrir arquivo (S)"}},
        {"GetFileSizeEx", "check", "active", {"Arquivo excede o limite permitido."}},
        {"ReadFile", "check", "active", {"Arquivo incompleto."}},
        {"GetFileAttributesW GetFullPathNameW", "check", "active store root above", {kRefused, kAsIf}},
        // Waits.
        {"WaitForSingleObject", "offered", "*", {kAsIf, "Cliente encerrou sem autorizar atualizacao."}},
        {"WaitForSingleObject", "handoff recorded taking_back done", "*", {kAsIf}},
        // The move into the temporary copy; sweeping old copies before it is best effort.
        {"CreateToolhelp32Snapshot Process32* OpenProcess QueryFullProcessImageNameW DeleteFileW RemoveDirectoryW "
         "FindFirstFileW FindNextFileW",
         "offered",
         "none copy above",
         {kAsIf}},
        {"GetFileAttributesExW", "offered", "copy above", {kAsIf, kLocal, kUnsafe}},
        {"GetFullPathNameW GetFileAttributesW", "offered", "copy", {kAsIf, kRedirected, kUnsafe}},
        {"CreateDirectoryW", "offered", "copy", {kLocal}},
        {"CopyFileW", "offered", "copy", {"Preparar auxiliar temporario (L)"}},
        {"CreateProcessW", "offered", "copy", {"Iniciar processo (L)"}},
        // Beginning a transaction; the sweep before it is best effort.
        {"GetFileAttributesExW FindFirstFileW FindNextFileW",
         "offered",
         "store active root staging",
         {kAsIf, kLocal, kUnsafe}},
        {"GetFileAttributesExW", "offered", "staged", {kAsIf, kLocal, kUnsafe}},
        {"CreateDirectoryW", "offered", "staged store", {kLocal}},
        {"GetFullPathNameW GetFileAttributesW", "offered", "staged", {kRedirected, kUnsafe}},
        {"GetFullPathNameW GetFileAttributesW",
         "offered",
         "store root target above staging active",
         {kAsIf, kSilent, kEscapes, kRedirected, kUnsafe, kRefused}},
        {"GetFileAttributesW", "offered", "staging", {kInspect}},
        {"MoveFileExW", "offered", "staging", {kPromotion, kAsIf}},
        // Staging. The transport's failures are tried again.
        {"WinHttp*", "downloading", "*", {kAsIf}},
        {"BCryptOpen*", "downloading", "*", {"Falha ao iniciar SHA-256 incremental.", kAsIf}},
        {"BCryptGetProperty", "downloading", "*", {"Falha ao preparar SHA-256 incremental.", kAsIf}},
        {"BCryptCreateHash", "downloading", "*", {"Falha ao criar SHA-256 incremental.", kAsIf}},
        {"BCryptHashData", "downloading", "*", {"Falha no SHA-256 incremental."}},
        {"BCryptFinishHash", "downloading", "*", {"Falha ao finalizar SHA-256 incremental."}},
        {"CreateDirectoryW", "downloading", "staged", {kLocal}},
        {"GetFileAttributesExW", "downloading", "staged", {kAsIf, kLocal, kUnsafe}},
        {"GetFileAttributesExW", "downloading", "active", {kLocal}},
        {"GetFullPathNameW GetFileAttributesW",
         "downloading",
         "staged store root above",
         {kAsIf, kSilent, kEscapes, kRedirected, kUnsafe, kNoSafeFolder}},
        {"GetFileAttributesW", "downloading", "staged", {kInspect}},
        {"FindFirstFileW FindNextFileW", "downloading", "staged", {kAsIf}},
        {"MoveFileExW", "downloading", "staged", {kPromotion}},
        {"CreateFileW", "downloading", "part", {kAsIf}},  // a transfer that a cancel has broken off before
        // A cancelled transaction is discarded as well as may be.
        {"GetFileAttributesExW GetFileAttributesW GetFullPathNameW FindFirstFileW FindNextFileW DeleteFileW "
         "RemoveDirectoryW",
         "downloading handoff",
         "staged staging store backup",
         {kAsIf}},
        // Handing over, and the checks before the install.
        {"CreateToolhelp32Snapshot", "handoff recorded", "*", {"Consultar processos (S)"}},
        {"Process32*", "handoff recorded taking_back", "*", {kAsIf}},
        {"CreateToolhelp32Snapshot", "taking_back", "*", {"Consultar processos (S)"}},
        {"BCryptOpen* BCryptGetProperty BCryptCreateHash BCryptHashData BCryptFinishHash",
         "handoff",
         "*",
         {kStagedDiffers, kChanged}},
        {"CreateFileW ReadFile", "handoff", "staged", {kStagedDiffers, kAsIf}},
        {"CreateFileW ReadFile", "handoff", "target", {kChanged, kAsIf}},
        {"GetFileAttributesExW", "handoff", "staged", {kStagedDiffers}},
        {"GetFileAttributesExW", "handoff", "target", {kChanged, kLocal}},
        {"GetFileAttributesExW", "handoff", "active", {kLocal}},
        {"GetFullPathNameW GetFileAttributesW",
         "handoff",
         "target staged store root above active backup",
         {kAsIf, kSilent, kEscapes}},
        {"GetFileAttributesW", "handoff", "active", {kInspect}},
        {"MoveFileExW", "handoff", "active", {kPromotion, kAsIf}},
        // The install.
        {"CreateDirectoryW", "recorded", "backup target", {kLocal}},
        {"GetFullPathNameW GetFileAttributesW",
         "recorded",
         "target backup store root above active",
         {kAsIf, kEscapes, kRedirected, kUnsafe}},
        {"GetFileAttributesExW", "recorded", "backup root store", {kAsIf, kLocal, kUnsafe, kBackupDiffers}},
        {"GetFileAttributesExW",
         "recorded",
         "target",
         {kAsIf, kLocal, kUnsafe, kFinalCheck, kAltered, kNewAltered, kNoBackup}},
        {"GetFileAttributesExW", "recorded taking_back", "active", {kLocal}},
        {"ReplaceFileW", "recorded", "target", {"Substituir arquivo com backup (L)"}},
        {"MoveFileExW", "recorded", "target", {"Instalar arquivo novo (L)", "Restaurar arquivo anterior (L)"}},
        {"DeleteFileW", "recorded taking_back", "active target", {"Remover arquivo gerenciado (L)"}},
        {"BCryptOpen* BCryptGetProperty BCryptCreateHash BCryptHashData BCryptFinishHash",
         "recorded",
         "*",
         {kFinalCheck, kAltered, kNewAltered, kNoBackup, kBackupDiffers}},
        {"CreateFileW ReadFile", "recorded", "target", {kAsIf, kFinalCheck, kAltered, kNewAltered, kNoBackup}},
        {"CreateFileW ReadFile", "recorded taking_back", "backup", {kAsIf, kBackupDiffers}},
        // The roll-back behind a failed install: its words take the place of the install's.
        {"GetFullPathNameW GetFileAttributesW",
         "taking_back",
         "target backup store root above active",
         {kAsIf, kEscapes}},
        {"GetFileAttributesExW",
         "taking_back",
         "target backup",
         {kAsIf, kLocal, kAltered, kNewAltered, kNoBackup, kBackupDiffers}},
        {"BCryptOpen* BCryptGetProperty BCryptCreateHash BCryptHashData BCryptFinishHash",
         "taking_back",
         "*",
         {kAltered, kNewAltered, kNoBackup, kBackupDiffers}},
        {"CreateFileW ReadFile", "taking_back", "target", {kAsIf, kAltered, kNewAltered, kNoBackup}},
        {"MoveFileExW", "taking_back", "target", {"Restaurar arquivo anterior (L)"}},
        // The end: behind the commit the discard is dropped; behind a roll-back its failure is the roll-back's.
        {"GetFileAttributesExW GetFileAttributesW GetFullPathNameW FindFirstFileW FindNextFileW DeleteFileW "
         "RemoveDirectoryW",
         "done",
         "staged staging store backup root above",
         {kAsIf, kLocal, kFolderMoved, kEntryMoved}},
        {"CreateProcessW", "told done", "*", {"Iniciar processo (L)", kAsIf}},
        // Writing the status and the records.
        {"CreateFileW", "*", "part", {"Criar arquivo temporario (S)", "Falha ao criar arquivo parcial unico (W)"}},
        {"WriteFile", "*", "part", {kWriteTemporary}},
        {"WriteFile",
         "downloading",
         "part",
         {"Falha ao gravar arquivo parcial (W)", "Falha ao gravar arquivo parcial (w)"}},
        {"FlushFileBuffers", "*", "part", {"Sincronizar arquivo (L)"}},
        {"FlushFileBuffers", "downloading", "part", {"Falha ao persistir arquivo parcial (W)"}},
        {"GetFileAttributesW GetFullPathNameW", "*", "part", {kAsIf, kSilent, kNoPart}},
        {"GetFileAttributesW GetFullPathNameW", "*", "status above", {kAsIf, kSilent, kEscapes}},
        {"GetFileAttributesW", "*", "status", {kInspect, "Falha na promocao atomica (w)"}},
        {"DeleteFileW", "*", "part", {kAsIf}},
        {"MoveFileExW ReplaceFileW", "*", "status", {kPromotion, kAsIf}},
        {"CreateFileW WriteFile FlushFileBuffers GetFileAttributesW GetFullPathNameW MoveFileExW ReplaceFileW",
         "downloading handoff done",
         "part status above",
         {kUnsaid}},
        // Texts that can't be converted are empty.
        {"MultiByteToWideChar",
         "*",
         "*",
         {kAsIf, kUnverified, "Caminho nao gerenciado no manifesto.", kNoFile, "Job de recuperacao invalido.",
          "Servidor respondeu HTTP 404.", kFinalCheck}},
        {"WideCharToMultiByte",
         "*",
         "*",
         {kAsIf, kGarbled, "Caminho nao gerenciado no manifesto.", "Manifesto sem init.lua ou backend selecionado.",
          "Tempo de autorizacao esgotado.", "Cliente nao encerrou; atualizacao preservada sem instalar.",
          kCancelHalfHeard, "Servidor respondeu HTTP 404."}},
        // Memory: the exception's own text is never shown. What is best effort drops it.
        {"memory", "*", "*", {kAsIf, kLocal, kArguments, kUnsaid, kCancelHalfHeard}},
    };
    return table;
}

// "Context (5): words" with any number.
bool is_older_error(std::string_view text, std::string_view context) {
    if (!text.starts_with(context)) return false;
    text.remove_prefix(context.size());
    std::size_t digits = 0;
    while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') ++digits;
    if (digits == 0 || text.substr(digits, 1) != ")") return false;
    text.remove_prefix(digits + 1);
    return text.empty() || text.starts_with(": ");
}

}  // namespace

bool lists(std::string_view list, std::string_view word) {
    if (list == "*") return true;
    std::istringstream words{std::string(list)};
    for (std::string listed; words >> listed;) {
        if (listed == word) return true;
        if (listed.back() == '*' && word.starts_with(std::string_view(listed).substr(0, listed.size() - 1)))
            return true;
    }
    return false;
}

bool reads_like(const std::string& text, std::string_view expected) {
    const std::string context(expected.substr(0, expected.size() - std::min<std::size_t>(3, expected.size())));
    if (expected.ends_with("(L)")) return is_older_error(text, context + "(");
    if (expected.ends_with("(w)")) return is_older_error(text, context + "(Windows ");
    return text == expected;
}

namespace {

bool matches(FaultStory& story, const FailedCall& failed, const std::string& text, std::string_view expected) {
    const std::string_view context = expected.substr(0, expected.size() - std::min<std::size_t>(3, expected.size()));
    if (!expected.ends_with("(W)") && !expected.ends_with("(S)")) return reads_like(text, expected);
    const std::wstring words = support::wide(std::string(context.substr(0, context.size() - 1)));
    if (expected.ends_with("(W)")) {
        const std::uint32_t number = failed.error == winsim::kShortTransfer ? 0 : failed.error;
        return text == support::narrow(vandrel::windows_error_text(words, number));
    }
    const winsim::World::Guard guard(story.visit.machine.world);
    return text == support::narrow(vandrel::system_error_text(words, failed.error));
}

// The story's end where nothing fails.
bool is_usual_end(FaultStory& story, const FailedCall& failed, const support::Status& status) {
    if (story.is_cancelled()) return status.state == "cancelled" && status.detail == "Atualizacao cancelada.";
    if (story.name() == "taken-back") {
        return status.state == "error" && matches(story, failed, status.detail, "Substituir arquivo com backup (L)");
    }
    const bool restored = story.visit.had_record();
    return status.state == "current" && status.progress == 100 && status.detail == (restored ? kRestored : kInstalled);
}

bool is_as_told(FaultStory& story, const FailedCall& failed, const support::Status& status, const char* text) {
    if (text == kAsIf) return is_usual_end(story, failed, status);
    if (text == kUnsaid) return status.state != "error" && status.state != "cancelled" && status.state != "current";
    if (text == kGarbled) return status.job_id.empty() || status.state.empty() || status.detail.empty();
    if (status.state != "error" || status.progress != 0) return false;
    return text == kSilent ? status.detail.empty() : matches(story, failed, status.detail, text);
}

}  // namespace

std::string wrong_words(FaultStory& story, const FailedCall& failed, bool succeeded) {
    if (!story.visit.machine.has_status()) return {};
    const support::Status status = story.visit.machine.status();
    const std::string_view call = failed.allocation ? "memory" : std::string_view(failed.call.name);
    const std::string_view place = place_of(failed.call.subject);
    const bool ends_well = status.state == "current" || (status.state.empty() && succeeded);
    if (ends_well != succeeded && !status.state.empty()) return "exit code and status disagree: " + status.state;
    for (const Row& row : rows()) {
        if (!lists(row.calls, call) || !lists(row.phases, name_of(failed.call.phase)) || !lists(row.places, place)) {
            continue;
        }
        for (const char* text : row.texts) {
            if (is_as_told(story, failed, status, text)) return {};
        }
    }
    return "no rule says so for " + std::string(call) + " on " + std::string(place) + " while " +
           name_of(failed.call.phase) + ": " + status.state + " '" + status.detail + "'";
}

}  // namespace interruption
