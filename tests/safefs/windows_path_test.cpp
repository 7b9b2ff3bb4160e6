#include "safefs/windows_path.h"

#include <gtest/gtest.h>

#include "tests/support/direct.h"

namespace support {
namespace {

struct Row {
    std::wstring path;
    std::wstring result;
};

struct PairRow {
    std::wstring left;
    std::wstring right;
    std::wstring result;
};

template <std::size_t Count, class Operation>
void expect_each(const Row (&rows)[Count], Operation operation) {
    for (const Row& row : rows) EXPECT_EQ(std::wstring(operation(row.path)), row.result) << "of " << narrow(row.path);
}

template <std::size_t Count, class Operation>
void expect_each(const PairRow (&rows)[Count], Operation operation) {
    for (const PairRow& row : rows) {
        EXPECT_EQ(operation(row.left, row.right), row.result) << narrow(row.left) << " and " << narrow(row.right);
    }
}

TEST(WindowsPath, knows_drives_servers_and_device_prefixes_as_root_names) {
    const Row rows[] = {{L"C:\\a", L"C:"},
                        {L"c:", L"c:"},
                        {L"C:a", L"C:"},
                        {L"1:\\a", L""},
                        {L"\\a", L""},
                        {L"a\\b", L""},
                        {L"", L""},
                        {L"\\\\server\\share\\x", L"\\\\server"},
                        {L"//server/share", L"//server"},
                        {L"\\\\server", L"\\\\server"},
                        {L"\\\\?\\C:\\a", L"\\\\?"},
                        {L"\\\\.\\pipe\\x", L"\\\\."},
                        {L"\\\\\\server\\x", L""},
                        {L"\\\\", L""}};
    expect_each(rows, vandrel::root_name);
}

TEST(WindowsPath, is_absolute_only_with_a_drive_and_a_separator_or_another_root_name) {
    const struct {
        std::wstring path;
        bool absolute;
    } rows[] = {{L"C:\\", true}, {L"C:/a", true}, {L"C:", false},   {L"C:a", false},          {L"\\a", false},
                {L"a", false},   {L"", false},    {L"\\\\", false}, {L"\\\\server\\x", true}, {L"\\\\?\\C:", true}};
    for (const auto& row : rows) EXPECT_EQ(vandrel::is_absolute(row.path), row.absolute) << narrow(row.path);
}

TEST(WindowsPath, joins_so_that_a_root_on_the_right_replaces_the_left) {
    const PairRow rows[] = {{L"C:\\a", L"b", L"C:\\a\\b"},
                            {L"C:\\a\\", L"b", L"C:\\a\\b"},
                            {L"a/", L"b", L"a/b"},
                            {L"C:\\a", L"", L"C:\\a\\"},
                            {L"C:\\a\\", L"", L"C:\\a\\"},
                            {L"C:", L"b", L"C:b"},
                            {L"C:", L"\\", L"C:\\"},
                            {L"C:\\a", L"\\b", L"C:\\b"},
                            {L"C:\\a", L"C:\\b", L"C:\\b"},
                            {L"C:\\a", L"D:b", L"D:b"},
                            {L"C:\\a", L"C:b", L"C:\\a\\b"},
                            {L"C:\\a", L"\\\\server\\b", L"\\\\server\\b"},
                            {L"\\\\server", L"share", L"\\\\server\\share"},
                            {L"", L"b", L"b"},
                            {L"", L"", L""}};
    expect_each(rows, vandrel::join);
}

TEST(WindowsPath, has_a_parent_without_the_last_component_and_a_root_is_its_own) {
    const Row rows[] = {{L"C:\\a\\b", L"C:\\a"},
                        {L"C:\\a\\\\b", L"C:\\a"},
                        {L"C:\\a\\", L"C:\\a"},
                        {L"C:\\a", L"C:\\"},
                        {L"C:\\", L"C:\\"},
                        {L"C:", L"C:"},
                        {L"C:a", L"C:"},
                        {L"\\\\server\\share", L"\\\\server\\"},
                        {L"a/b", L"a"},
                        {L"a", L""},
                        {L"", L""}};
    expect_each(rows, vandrel::parent_path);
}

TEST(WindowsPath, has_the_text_behind_the_last_separator_as_file_name) {
    const Row rows[] = {{L"C:\\a\\b.c", L"b.c"}, {L"a/b", L"b"}, {L"C:a", L"a"}, {L"C:\\", L""},
                        {L"C:\\a\\", L""},       {L"b", L"b"},   {L"", L""}};
    expect_each(rows, vandrel::file_name);
}

TEST(WindowsPath, is_iterated_as_root_name_root_directory_and_components) {
    const Row rows[] = {{L"C:\\a\\b", L"C:|\\|a|b|"}, {L"C:/a//b", L"C:|/|a|b|"},
                        {L"C:\\a\\", L"C:|\\|a||"},   {L"C:\\", L"C:|\\|"},
                        {L"C:a", L"C:|a|"},           {L"\\\\server\\share\\x", L"\\\\server|\\|share|x|"},
                        {L"a\\b\\\\", L"a|b||"},      {L"", L""}};
    expect_each(rows, [](const std::wstring& path) {
        std::wstring text;
        for (const std::wstring& element : vandrel::path_elements(path)) text += element + L"|";
        return text;
    });
}

TEST(WindowsPath, is_normalised_on_text_alone) {
    const Row rows[] = {{L"C:/a//b\\.\\c", L"C:\\a\\b\\c"},
                        {L"C:\\a\\b\\..", L"C:\\a\\"},
                        {L"C:\\a\\b\\..\\c", L"C:\\a\\c"},
                        {L"C:\\a\\..\\..\\b", L"C:\\b"},
                        {L"C:\\..", L"C:\\"},
                        {L"C:\\a\\", L"C:\\a\\"},
                        {L"C:\\a\\\\", L"C:\\a\\"},
                        {L"C:\\a\\.", L"C:\\a\\"},
                        {L"C:a\\..\\..", L"C:.."},
                        {L"//server/share/../x", L"\\\\server\\x"},
                        {L"a\\..", L"."},
                        {L".", L"."},
                        {L"./a", L"a"},
                        {L"..\\a\\..\\..", L"..\\.."},
                        {L"..\\", L".."},
                        {L"", L""}};
    expect_each(rows, vandrel::lexically_normal);
}

TEST(WindowsPath, leads_relatively_from_a_base_to_a_target_and_minds_case) {
    const PairRow rows[] = {{L"C:\\a\\b", L"C:\\a", L"b"},
                            {L"C:\\a\\b", L"C:\\a\\", L"b"},
                            {L"C:\\a", L"C:\\a", L"."},
                            {L"C:\\a\\", L"C:\\a", L"."},
                            {L"C:\\a", L"C:\\a\\", L"."},
                            {L"C:\\a", L"C:\\a\\b\\c", L"..\\.."},
                            {L"C:\\x\\y", L"C:\\a\\b", L"..\\..\\x\\y"},
                            {L"C:\\ab", L"C:\\a", L"..\\ab"},
                            {L"C:\\A\\b", L"C:\\a", L"..\\A\\b"},
                            {L"D:\\a", L"C:\\a", L""},
                            {L"c:\\a", L"C:\\a", L""},
                            {L"a\\b", L"C:\\a", L""}};
    expect_each(rows, vandrel::lexically_relative);
}

TEST(WindowsPath, is_made_absolute_from_the_current_folder_whatever_its_length) {
    DirectMachine machine;
    const Row rows[] = {
        {L"a/./b", L"C:\\Users\\Ana\\a\\b"}, {L"C:\\x\\..\\y", L"C:\\y"}, {L"\\x", L"C:\\x"}, {L"", L""}};
    expect_each(rows, vandrel::absolute);
    for (const std::size_t units : {259U, 260U, 261U, 5000U}) {
        const std::wstring path = L"C:\\" + std::wstring(units - 3, L'x');
        EXPECT_EQ(vandrel::absolute(path), path) << units;
    }
}

TEST(WindowsPath, that_the_platform_cannot_make_absolute_raises_the_file_system_error) {
    DirectMachine machine;
    Faults faults(machine.world);
    faults.add("GetFullPathNameW");
    EXPECT_EQ(machine.refusal([] { vandrel::absolute(L"x"); }), L"[absolute]");
    EXPECT_EQ(vandrel::absolute(L""), L"");
}

}  // namespace
}  // namespace support
