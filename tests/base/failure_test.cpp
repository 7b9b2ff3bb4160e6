#include "base/failure.h"

#include <gtest/gtest.h>

#include "base/unique_handle.h"
#include "tests/support/direct.h"

namespace support {
namespace {

TEST(Failure, takes_its_text_over_and_copies_it_while_the_narrow_text_is_fixed) {
    std::wstring text = L"Um texto para o jogador, longo demais para ficar dentro do objeto.";
    const std::wstring expected = text;
    const vandrel::Failure failure(std::move(text));
    const vandrel::Failure copy(failure);
    EXPECT_TRUE(text.empty());  // NOLINT(bugprone-use-after-move): that it is left empty is promised
    EXPECT_EQ(failure.message, expected);
    EXPECT_EQ(copy.message, expected);
    EXPECT_STREQ(copy.what(), "Vandrel updater");
}

TEST(ErrorText, ends_in_the_systems_text_with_its_line_break_or_in_the_parenthesis) {
    DirectMachine machine;
    EXPECT_EQ(vandrel::windows_error_text(L"Abrir", 4294967295), L"Abrir (Windows 4294967295)");
    EXPECT_EQ(machine.world.gate.calls(), 0U);
    const std::pair<std::uint32_t, std::wstring> rows[] = {
        {2, L"Abrir (2): The system cannot find the file specified.\r\n"},
        {0, L"Abrir (0): The operation completed successfully.\r\n"},
        {1000000, L"Abrir (1000000)"},
        {4294967295, L"Abrir (4294967295)"}};
    for (const auto& [code, text] : rows) EXPECT_EQ(vandrel::system_error_text(L"Abrir", code), text);
    EXPECT_EQ(machine.calls("LocalFree").size(), 2U);
}

std::vector<int> closed;

struct NumberKind {
    using Value = int;
    static Value empty() { return -1; }
    static void close(Value value) { closed.push_back(value); }
};

TEST(UniqueHandle, closes_each_handle_once) {
    closed.clear();
    {
        vandrel::UniqueHandle<NumberKind> first(1);
        vandrel::UniqueHandle<NumberKind> second(2);
        const vandrel::UniqueHandle<NumberKind> none;
        first = std::move(second);
        EXPECT_EQ(closed, std::vector<int>{1});
        const vandrel::UniqueHandle<NumberKind> third(std::move(first));
        EXPECT_EQ(third.get(), 2);
    }
    EXPECT_EQ(closed, (std::vector<int>{1, 2}));
}

}  // namespace
}  // namespace support
