#include "handshake/handoff_waits.h"

#include "base/failure.h"
#include "handshake/command_file.h"

namespace vandrel {

void wait_for_authorization(const LaunchOptions& options, HANDLE client_process) {
    const std::uint64_t start = GetTickCount64();
    for (;;) {
        const std::wstring command = read_command(options);
        if (command == kCancel) throw Failure(kCancelled);
        if (command == kApply) return;
        if (client_process != nullptr && WaitForSingleObject(client_process, 0) != WAIT_TIMEOUT) {
            throw Failure(L"Cliente encerrou sem autorizar atualizacao.");
        }
        if (GetTickCount64() - start >= kAuthorizationLimitMs) throw Failure(L"Tempo de autorizacao esgotado.");
        Sleep(kPollIntervalMs);
    }
}

void wait_for_client_exit(const LaunchOptions& options, HANDLE client_process) {
    const std::uint64_t start = GetTickCount64();
    for (;;) {
        if (is_cancel_requested(options)) throw Failure(kCancelled);
        // The wait for the process is the loop's only pause.
        if (client_process == nullptr || WaitForSingleObject(client_process, kPollIntervalMs) == WAIT_OBJECT_0) break;
        if (GetTickCount64() - start >= kExitLimitMs) {
            throw Failure(L"Cliente nao encerrou; atualizacao preservada sem instalar.");
        }
    }
    // A cancellation that came while the client was closing still counts.
    if (is_cancel_requested(options)) throw Failure(kCancelled);
}

}  // namespace vandrel
