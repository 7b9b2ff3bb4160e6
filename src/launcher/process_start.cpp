#include "launcher/process_start.h"

#include <windows.h>

#include "base/failure.h"
#include "base/unique_handle.h"
#include "safefs/windows_path.h"

namespace vandrel {

std::wstring quote_argument(const std::wstring& text) {
    std::wstring quoted = L"\"";
    std::size_t backslashes = 0;
    for (const wchar_t unit : text) {
        if (unit == L'\\') {
            ++backslashes;
            continue;
        }
        quoted.append(unit == L'"' ? 2 * backslashes + 1 : backslashes, L'\\');
        quoted += unit;
        backslashes = 0;
    }
    quoted.append(2 * backslashes, L'\\');
    return quoted + L'"';
}

void launch_process(const std::wstring& executable, const std::wstring& arguments, const std::wstring& working_folder,
                    bool hidden) {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    if (hidden) {
        startup.dwFlags = STARTF_USESHOWWINDOW;
        startup.wShowWindow = SW_HIDE;
    }
    std::wstring command_line = quote_argument(executable) + arguments;
    PROCESS_INFORMATION information{};
    const std::wstring text = system_error_text(L"Iniciar processo", GetLastError());
    require(CreateProcessW(executable.c_str(), command_line.data(), nullptr, nullptr, FALSE,
                           hidden ? CREATE_NO_WINDOW : 0, nullptr, working_folder.c_str(), &startup, &information) != 0,
            text);
    const ObjectHandle process(information.hProcess);
    const ObjectHandle thread(information.hThread);
}

void relaunch_client(const LaunchOptions& options, bool recovered) {
    launch_process(join(options.client_root, options.client_executable),
                   recovered ? L" --vandrel-update-recovered" : L"", options.client_root, false);
}

}  // namespace vandrel
