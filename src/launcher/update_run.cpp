#include "launcher/update_run.h"

#include <string>

#include "base/failure.h"
#include "base/unique_handle.h"
#include "handshake/process_inspection.h"
#include "handshake/status_file.h"
#include "launcher/temporary_helper.h"
#include "manifest/digests.h"
#include "safefs/file_system.h"
#include "safefs/path_guards.h"
#include "safefs/windows_path.h"
#include "transaction/transaction_store.h"

namespace vandrel {

namespace {

ObjectHandle create_lock(const LaunchOptions& options) {
    const std::string key = folder_key(options.client_root);
    const std::wstring name = L"Local\\VandrelUpdater-" + std::wstring(key.begin(), key.end());
    ObjectHandle lock(CreateMutexW(nullptr, FALSE, name.c_str()));
    const DWORD error = GetLastError();
    if (!lock) throw Failure(system_error_text(L"Criar trava de atualizacao", error));
    return lock;
}

MutexOwnership take_lock(const ObjectHandle& lock, bool relocated) {
    // Composed first: between the wait and the guard nothing may fail.
    const std::wstring text = L"Outro atualizador esta usando esta pasta.";
    const DWORD result = WaitForSingleObject(lock.get(), relocated ? kLockPatienceMs : 0);
    require(result == WAIT_OBJECT_0 || result == WAIT_ABANDONED, text);
    return MutexOwnership(lock.get());
}

// The process that the command line names, proved to be this folder's client.
ObjectHandle prove_client(const LaunchOptions& options) {
    ObjectHandle process(OpenProcess(kProcessAccess, FALSE, options.client_pid));
    const DWORD error = GetLastError();
    if (!process) throw Failure(system_error_text(L"Abrir processo do cliente", error));
    std::wstring image;
    const bool is_client = query_image_path(process.get(), image) &&
                           same_folder(image, join(options.client_root, options.client_executable));
    require(is_client, L"PID nao pertence ao backend desta pasta.");
    return process;
}

}  // namespace

int run_update(LaunchOptions& options) {
    write_status(options, L"checking", 0, L"Verificando atualizacoes...");
    const ObjectHandle lock = create_lock(options);
    const MutexOwnership ownership = take_lock(lock, options.relocated);
    ObjectHandle client_process;
    if (options.client_pid != 0) client_process = prove_client(options);
    // (4): where an active record stands, no request goes out and nothing else may happen.
    if (exists(active_record_path(options))) {
        recovery_branch(options, client_process.get());
    } else {
        check_phase(options, client_process.get());
    }
    return 0;
}

}  // namespace vandrel
