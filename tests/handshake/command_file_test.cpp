#include "handshake/command_file.h"

#include <gtest/gtest.h>
#include <windows.h>

#include <sstream>

#include "tests/support/direct.h"

namespace support {
namespace {

using namespace std::string_literals;

constexpr const char* kDocument = R"({"jobId":"a1","command":"apply"})";

class CommandFile : public testing::Test {
 protected:
    CommandFile() : options(machine.options()) { options.job_id = L"a1"; }

    std::wstring read(const std::string& document) {
        machine.write_command(document);
        return vandrel::read_command(options);
    }

    DirectMachine machine;
    vandrel::LaunchOptions options;
};

TEST_F(CommandFile, is_understood_in_any_spacing_and_order) {
    for (const std::string& document :
         {R"({"jobId":"a1","command":"cancel"})"s, R"({"command":"cancel","jobId":"a1"})"s,
          " \t\r\n{ \"jobId\" : \"a1\" , \"command\"\t:\r\n\"cancel\" } \n"s}) {
        EXPECT_EQ(read(document), L"cancel") << document;
        EXPECT_TRUE(vandrel::is_cancel_requested(options));
    }
    EXPECT_EQ(read(kDocument), L"apply");
    EXPECT_FALSE(vandrel::is_cancel_requested(options));
}

TEST_F(CommandFile, is_no_command_when_anything_about_it_is_amiss) {
    std::istringstream lines(R"(
        {}       []       x       {"jobId":"a1"}       {"command":"apply"}       {"jobId":"a1","command":"apply",}
        {"jobId":"a1","command":"apply","x":"y"}       {"jobId":"a1","order":"apply"}
        {"job":"a1","command":"apply"}                 {"jobId":"a1","x":"apply"}      {"a":"a1","b":"apply"}
        {"jobId":"a1","jobId":"a1","command":"apply"}  {"jobId":"a1","command":"apply","command":"apply"}
        {"jobId":"a2","command":"cancel"}              {"jobId":"A1","command":"apply"}
        {"jobId":"","command":"apply"}                 {"jobId":"a1","command":"Apply"}
        {"jobId":"a1","command":"applyx"}              {"jobId":"a1","command":""}
        {"jobId":"a1","command":`Apply`}               {"jobId":"a1","command":true}
        {"jobId":"a1","command":{"x":"y"}}             {"jobId":"a1","command":["apply"]}
        {"jobId":"a1","command""apply"}                {"jobId":"a1""command":"apply"}
        {'jobId':'a1','command':'apply'}               {"jobId":"a\u0031","command":"apply"}
        {"jobId":"a1","command":"apply\"}              {"jobId":"a1","command":"apply"}x
        {"jobId":"a1","command":"apply"}{}             {"jobId";"a1","command":"apply"}
        ["jobId":"a1","command":"apply"}               {"jobId":"a1";"command":"apply"}
        {"jobId":"a1","command":'apply"})");
    for (std::string document; lines >> document;) EXPECT_EQ(read(document), L"") << document;
    for (const std::string& document :
         {" \n"s, R"({"jobId":"a1 ","command":"apply"})"s, R"({"jobId":"a1","command":" apply"})"s, kDocument + "\0"s,
          kDocument + "\f"s, "\xEF\xBB\xBF"s + kDocument, "{\"jobId\":\"a1\"\v,\"command\":\"apply\"}"s}) {
        EXPECT_EQ(read(document), L"") << document;
    }
    const std::string document = kDocument;
    for (std::size_t size = 0; size < document.size(); ++size) EXPECT_EQ(read(document.substr(0, size)), L"") << size;
}

TEST_F(CommandFile, may_have_4096_bytes_and_not_one_more) {
    const std::string document = kDocument;
    EXPECT_EQ(read(document + std::string(4096 - document.size(), ' ')), L"apply");
    EXPECT_EQ(read(document + std::string(4097 - document.size(), ' ')), L"");
}

TEST_F(CommandFile, holds_no_byte_outside_the_printable_ones_even_where_the_job_has_it) {
    for (const wchar_t unit : {L' ', L'~', L'\\', L'\x1F', L'\x7F', L'\xE7', L'\x1'}) {
        options.job_id = std::wstring(1, unit);
        EXPECT_EQ(read("{\"jobId\":\"" + narrow(options.job_id) + "\",\"command\":\"apply\"}"),
                  unit == L' ' || unit == L'~' ? L"apply" : L"");
    }
    // A job without a UTF-8 form would have to be named by the empty text, and a missing job isn't that.
    options.job_id = std::wstring(1, wchar_t{0xD800});
    EXPECT_EQ(read(R"({"jobId":"","command":"apply"})"), L"apply");
    EXPECT_EQ(read(R"({"x":"","command":"apply"})"), L"");
}

TEST_F(CommandFile, that_is_missing_or_unreadable_is_no_command_and_only_an_unanswered_question_is_an_error) {
    EXPECT_EQ(vandrel::read_command(options), L"");
    EXPECT_TRUE(machine.calls("CreateFileW").empty());
    machine.write_command(kDocument);
    const std::uint64_t before = machine.world.disk.fingerprint(L"C:\\");
    for (const char* call : {"CreateFileW", "GetFileSizeEx", "ReadFile", "GetFileAttributesW"}) {
        Faults faults(machine.world);
        faults.add(call);
        EXPECT_EQ(vandrel::read_command(options), L"") << call;
        EXPECT_TRUE(faults.happened());
    }
    EXPECT_EQ(vandrel::read_command(options), L"apply");
    EXPECT_EQ(machine.world.disk.fingerprint(L"C:\\"), before);
    EXPECT_EQ(machine.world.disk.open_handles(), 0U);
    Faults faults(machine.world);
    faults.add("GetFileAttributesExW", L".command.json", 5);
    EXPECT_EQ(machine.refusal([&] { vandrel::read_command(options); }), L"[exists]");
}

}  // namespace
}  // namespace support
