#include "handshake/process_inspection.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <tuple>

#include "base/unique_handle.h"
#include "tests/support/direct.h"

namespace support {
namespace {

constexpr const wchar_t* kUnopened = L"Nao foi possivel verificar outro processo do cliente.";
constexpr const wchar_t* kNoImage = L"Nao foi possivel verificar caminho de processo.";
constexpr const wchar_t* kReference = L"C:\\Temp\\VandrelUpdater\\a1\\Vandrel Updater.exe";

// "yes", "no", or the failure's text.
std::wstring answer(DirectMachine& machine, const std::wstring& reference, bool match_folder) {
    bool found = false;
    const std::wstring text = machine.refusal([&] { found = vandrel::find_running_process(reference, match_folder); });
    return !text.empty() ? text : found ? L"yes" : L"no";
}

TEST(ProcessInspection, finds_a_program_by_name_and_place) {
    const std::tuple<const wchar_t*, bool, const wchar_t*, std::size_t> rows[] = {
        {L"C:\\Game\\brindler_dx_x64.exe", true, L"yes", 1},
        {L"C:\\Game\\brindler_gl_x64.exe", true, L"yes", 1},
        {L"C:\\Game\\brindler_dx_x86.exe", true, L"yes", 1},
        {L"c:\\GAME\\BRINDLER_GL_X86.EXE", true, L"yes", 1},
        {L"C:\\Game\\data\\brindler_dx_x64.exe", true, L"no", 1},
        {L"C:\\Game\\Vandrel Updater.exe", true, L"no", 0},
        {L"C:\\Game\\brindler_vk_x64.exe", true, L"no", 0},
        {L"C:\\Temp\\VandrelUpdater\\a1\\Vandrel Updater.exe", false, L"yes", 1},
        {L"c:\\temp\\vandrelupdater\\A1\\VANDREL UPDATER.EXE", false, L"yes", 1},
        {L"C:\\Temp\\VandrelUpdater\\a2\\Vandrel Updater.exe", false, L"no", 1},
        {L"C:\\Game\\brindler_dx_x64.exe", false, L"no", 0}};
    for (const auto& [image, match_folder, expected, opened] : rows) {
        DirectMachine machine;
        machine.world.processes.start(L"C:\\Windows\\explorer.exe");
        machine.world.processes.start(image);
        EXPECT_EQ(answer(machine, match_folder ? kRoot : kReference, match_folder), expected) << narrow(image);
        EXPECT_EQ(machine.calls("OpenProcess").size(), opened) << narrow(image);
        EXPECT_EQ(machine.world.processes.open_handles(), 0U) << narrow(image);
    }
}

TEST(ProcessInspection, looks_on_behind_candidates_that_are_elsewhere_or_gone) {
    DirectMachine machine;
    const auto ensure = [&] { return machine.refusal([&] { vandrel::ensure_no_other_client(machine.options()); }); };
    machine.world.processes.start(L"C:\\Other\\brindler_dx_x64.exe");
    const std::uint32_t vanished = machine.world.processes.start(kClient);
    const std::uint32_t ended = machine.world.processes.start(kClient);
    const vandrel::ObjectHandle held(OpenProcess(0x101000, FALSE, ended));  // keeps it there to be opened
    at_call(machine.world, "CreateToolhelp32Snapshot", L"", winsim::Moment::after, [&] {
        machine.world.processes.end(vanished);
        machine.world.processes.end(ended);
    });
    machine.world.gate.reset();
    EXPECT_EQ(ensure(), L"");
    EXPECT_EQ(machine.calls("OpenProcess").size(), 3U);
    machine.world.processes.start(kClient);
    EXPECT_EQ(ensure(), L"Outro cliente desta pasta esta aberto. Feche-o e tente novamente.");
}

TEST(ProcessInspection, never_takes_a_failed_look_for_a_no) {
    const std::tuple<const char*, std::uint32_t, const wchar_t*> rows[] = {
        {"CreateToolhelp32Snapshot", 5, L"Consultar processos (5): Access is denied.\r\n"},
        {"OpenProcess", 5, kUnopened},
        {"OpenProcess", 6, kUnopened},
        {"OpenProcess", 87, L"no"},
        {"WaitForSingleObject", 6, L"yes"},
        {"QueryFullProcessImageNameW", 31, kNoImage}};
    for (const auto& [call, error, text] : rows) {
        DirectMachine machine;
        machine.world.processes.start(kClient);
        Faults faults(machine.world);
        faults.add(call, L"", error);
        EXPECT_EQ(answer(machine, kRoot, true), text) << call;
        EXPECT_EQ(machine.world.processes.open_handles(), 0U) << call;
    }
}

TEST(ProcessInspection, reads_image_paths_of_up_to_32767_units_and_leaves_none_where_it_fails) {
    for (const std::size_t units : {3U, 32767U, 32768U}) {
        DirectMachine machine;
        const std::wstring path = L"C:\\" + std::wstring(units - 3, L'x');
        const vandrel::ObjectHandle process(OpenProcess(0x101000, FALSE, machine.world.processes.start(path)));
        std::wstring image = L"as it came";
        EXPECT_EQ(vandrel::query_image_path(process.get(), image), units < 32768);
        EXPECT_EQ(image, units < 32768 ? path : L"");
    }
}

}  // namespace
}  // namespace support
