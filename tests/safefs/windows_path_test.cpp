#include "safefs/windows_path.h"

#include <gtest/gtest.h>

#include <array>
#include <sstream>

#include "tests/support/direct.h"

namespace support {
namespace {

// A table of words: each is a row, its fields with "=" between them, the result last.
template <std::size_t Fields>
std::vector<std::array<std::wstring, Fields>> rows_of(const wchar_t* table) {
    std::vector<std::array<std::wstring, Fields>> rows;
    std::wistringstream words(table);
    for (std::wstring word; words >> word;) {
        std::wistringstream fields(word);
        for (std::wstring& field : rows.emplace_back()) std::getline(fields, field, L'=');
    }
    return rows;
}

// Of one path: the result may not depend on what lies behind the path in memory.
template <class Operation>
void expect_each(const wchar_t* table, Operation operation) {
    for (const auto& [path, result] : rows_of<2>(table)) {
        for (const wchar_t* behind : {L"", L"\\", L"x"}) {
            const std::wstring text = path + behind;
            EXPECT_EQ(std::wstring(operation(std::wstring_view(text).substr(0, path.size()))), result)
                << "of " << narrow(path) << " before " << narrow(behind);
        }
    }
}

template <class Operation>
void expect_each_pair(const wchar_t* table, Operation operation) {
    for (const auto& [left, right, result] : rows_of<3>(table)) {
        EXPECT_EQ(operation(left, right), result) << narrow(left) << " and " << narrow(right);
    }
}

TEST(WindowsPath, knows_drives_servers_and_device_prefixes_as_root_names) {
    expect_each(
        LR"(A:\a=A: Z:/a=Z: a:=a: z:a=z: @:\a= [:\a= `:\a= {:\a= 1:\a= C;\a= C= = \= \a= \ab= a\b=
                    \\server\share\x=\\server //server/share=//server \\server=\\server \\s=\\s \\s\x=\\s \\\server\x= \\= \\\=
                    \\?\C:\a=\\? \\.\pipe\x=\\. \??\C:=\?? /??/=/?? \??\\= \??\\x= \???x= \??= \?a\x= \a?\x=)",
        vandrel::root_name);
}

TEST(WindowsPath, is_absolute_only_with_a_drive_and_a_separator_or_another_root_name) {
    // "a" for an absolute path, "d" for one with a root directory.
    expect_each(LR"(C:\=ad C:/a=ad C:= C:a= \a=d a= = \\=d \\server=a \\server\x=ad \\?\C:=ad)",
                [](std::wstring_view path) {
                    const std::wstring directory = vandrel::has_root_directory(path) ? L"d" : L"";
                    return vandrel::is_absolute(path) ? L"a" + directory : directory;
                });
}

TEST(WindowsPath, joins_so_that_a_root_on_the_right_replaces_the_left) {
    expect_each_pair(
        LR"(C:\a=b=C:\a\b C:\a\=b=C:\a\b a/=b=a/b C:\a==C:\a\ C:\a\==C:\a\ C:=b=C:b C:=\=C:\
                         C:\a=\b=C:\b C:\a=C:\b=C:\b C:\a=D:b=D:b C:\a=C:b=C:\a\b C:\a=\\server\b=\\server\b
                         \\server=share=\\server\share \\s=x=\\s\x \\s\a=\\s=\\s =b=b ==)",
        vandrel::join);
}

TEST(WindowsPath, has_a_parent_without_the_last_component_and_a_root_is_its_own) {
    expect_each(
        LR"(C:\a\b=C:\a C:\a\\b=C:\a C:\a\=C:\a C:\a=C:\ C:\=C:\ C:=C: C:a=C: \\server\share=\\server\
                    a/b=a a= =)",
        vandrel::parent_path);
}

TEST(WindowsPath, has_the_text_behind_the_last_separator_as_file_name) {
    expect_each(LR"(C:\a\b.c=b.c a/b=b C:a=a C:\= C:\a\= b=b =)", vandrel::file_name);
}

TEST(WindowsPath, is_iterated_as_root_name_root_directory_and_components) {
    expect_each(
        LR"(C:\a\b=C:|\|a|b| C:/a//b=C:|/|a|b| C:\a\=C:|\|a|| C:\=C:|\| C:a=C:|a|
                    \\server\share\x=\\server|\|share|x| a\b\\=a|b|| =)",
        [](std::wstring_view path) {
            std::wstring text;
            for (const std::wstring_view element : vandrel::path_elements(path)) text.append(element).append(L"|");
            return text;
        });
}

TEST(WindowsPath, is_normalised_on_text_alone) {
    expect_each(
        LR"(C:/a//b\.\c=C:\a\b\c C:\a\b\..=C:\a\ C:\a\b\..\=C:\a\ C:\a\b\..\c=C:\a\c C:\a\..\..\b=C:\b
                    C:\..=C:\ C:\..\=C:\ C:\a\=C:\a\ C:\a\\=C:\a\ C:\a\.=C:\a\ C:\a\.\=C:\a\ C:a\..\..=C:..
                    //server/share/../x=\\server\x a\..=. .=. ./a=a a/b=a\b ..\a\..\..=..\.. ..\=.. C:=C: =)",
        vandrel::lexically_normal);
}

TEST(WindowsPath, leads_relatively_from_a_base_to_a_target_and_minds_case) {
    expect_each_pair(
        LR"(C:\a\b=C:\a=b C:\a\b=C:\a\=b C:\a=C:\a=. C:\a\=C:\a=. C:\a=C:\a\=. C:\a=C:\a\b\c=..\..
                         C:\x\y=C:\a\b=..\..\x\y C:\ab=C:\a=..\ab C:\A\b=C:\a=..\A\b D:\a=C:\a= c:\a=C:\a=
                         a\b=C:\a= a=\b= C:\a=C:a= a\b=a=b C:\a\b=C:\a\b\=. b=..= b=..\a=b b=.\a=..\b)",
        vandrel::lexically_relative);
}

TEST(WindowsPath, is_made_absolute_from_the_current_folder_whatever_its_length) {
    DirectMachine machine;
    expect_each(LR"(a/./b=C:\Users\Ana\a\b C:\x\..\y=C:\y \x=C:\x =)",
                [](std::wstring_view path) { return vandrel::absolute(std::wstring(path)); });
    for (const std::size_t units : {259U, 260U, 261U, 5000U}) {
        const std::wstring path = L"C:\\" + std::wstring(units - 3, L'x');
        EXPECT_EQ(vandrel::absolute(path), path) << units;
    }
    Faults faults(machine.world);
    faults.add("GetFullPathNameW", L"", 1117, kAlways);
    EXPECT_EQ(machine.refusal([] { vandrel::absolute(L"x"); }), L"[absolute]");
    std::wstring result = L"x";
    std::uint32_t error = 0;
    EXPECT_TRUE(vandrel::try_absolute(L"", result, error) && result.empty());
    EXPECT_FALSE(vandrel::try_absolute(L"x", result, error));
    EXPECT_EQ(error, 1117U);
}

}  // namespace
}  // namespace support
