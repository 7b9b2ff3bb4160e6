#include "handshake/command_file.h"

#include <gtest/gtest.h>
#include <windows.h>

#include "tests/support/direct.h"

namespace support {
namespace {

using namespace std::string_literals;

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
    EXPECT_EQ(read(R"({"jobId":"a1","command":"apply"})"), L"apply");
    EXPECT_FALSE(vandrel::is_cancel_requested(options));
}

TEST_F(CommandFile, is_no_command_when_anything_about_it_is_amiss) {
    for (const std::string& document : {
             ""s,
             " \n"s,
             "{}"s,
             "[]"s,
             "x"s,
             R"({"jobId":"a1"})"s,
             R"({"command":"apply"})"s,
             R"({"jobId":"a1","command":"apply",})"s,
             R"({"jobId":"a1","command":"apply","x":"y"})"s,
             R"({"jobId":"a1","order":"apply"})"s,
             R"({"job":"a1","command":"apply"})"s,
             R"({"jobId":"a1","jobId":"a1","command":"apply"})"s,
             R"({"jobId":"a1","command":"apply","command":"apply"})"s,
             R"({"jobId":"a2","command":"cancel"})"s,
             R"({"jobId":"A1","command":"apply"})"s,
             R"({"jobId":"a1 ","command":"apply"})"s,
             R"({"jobId":"","command":"apply"})"s,
             R"({"jobId":"a1","command":"Apply"})"s,
             R"({"jobId":"a1","command":"applyx"})"s,
             R"({"jobId":"a1","command":" apply"})"s,
             R"({"jobId":"a1","command":""})"s,
             R"({"jobId":"a1","command":`Apply`})"s,
             R"({"jobId":"a1","command":true})"s,
             R"({"jobId":"a1","command":{"x":"y"}})"s,
             R"({"jobId":"a1","command":["apply"]})"s,
             R"({"jobId":"a1","command" "apply"})"s,
             R"({"jobId":"a1" "command":"apply"})"s,
             R"({'jobId':'a1','command':'apply'})"s,
             R"({"jobId":"a\u0031","command":"apply"})"s,
             R"({"jobId":"a1","command":"apply\"})"s,
             R"({"jobId":"a1","command":"apply"} x)"s,
             R"({"jobId":"a1","command":"apply"}{})"s,
             "{\"jobId\":\"a1\",\"command\":\"apply\"}\0"s,
             "{\"jobId\":\"a1\",\"command\":\"apply\"}\f"s,
             "\xEF\xBB\xBF{\"jobId\":\"a1\",\"command\":\"apply\"}"s,
             "{\"jobId\":\"a1\",\"command\":\"apply\x7F\"}"s,
             "{\"jobId\":\"a1\",\"\x1F\":\"x\",\"command\":\"apply\"}"s,
             "{\"jobId\":\"a1\",\"command\":\"\xC3\xA7\"}"s,
             "{\"jobId\":\"a1\"\v,\"command\":\"apply\"}"s,
         }) {
        EXPECT_EQ(read(document), L"") << document;
    }
}

TEST_F(CommandFile, is_no_command_while_it_is_half_written) {
    const std::string document = R"({"jobId":"a1","command":"apply"})";
    for (std::size_t size = 0; size < document.size(); ++size) EXPECT_EQ(read(document.substr(0, size)), L"") << size;
    EXPECT_EQ(read(document), L"apply");
}

TEST_F(CommandFile, may_have_4096_bytes_and_not_one_more) {
    const std::string document = R"({"jobId":"a1","command":"apply"})";
    EXPECT_EQ(read(document + std::string(4096 - document.size(), ' ')), L"apply");
    EXPECT_EQ(read(document + std::string(4097 - document.size(), ' ')), L"");
}

TEST_F(CommandFile, holds_no_byte_outside_the_printable_ones_even_where_the_job_has_it) {
    for (const wchar_t unit : {L'\\', L'\x1F', L'\x7F', L'\xE7'}) {
        options.job_id = std::wstring(1, unit);
        EXPECT_EQ(read("{\"jobId\":\"" + narrow(options.job_id) + "\",\"command\":\"apply\"}"), L"");
    }
}

TEST_F(CommandFile, of_a_job_without_a_utf8_form_would_have_to_name_the_empty_job) {
    options.job_id = std::wstring(1, wchar_t{0xD800});
    EXPECT_EQ(read(R"({"jobId":"","command":"apply"})"), L"apply");
}

TEST_F(CommandFile, that_is_missing_or_unreadable_is_no_command) {
    EXPECT_EQ(vandrel::read_command(options), L"");
    EXPECT_TRUE(machine.calls("CreateFileW").empty());
    machine.say("apply");
    options.job_id = machine.job;
    for (const char* call : {"CreateFileW", "GetFileSizeEx", "ReadFile", "GetFileAttributesW"}) {
        Faults faults(machine.world);
        faults.add(call);
        EXPECT_EQ(vandrel::read_command(options), L"") << call;
        EXPECT_TRUE(faults.happened());
    }
    EXPECT_EQ(vandrel::read_command(options), L"apply");
    EXPECT_EQ(machine.world.disk.open_handles(), 0U);
}

TEST_F(CommandFile, that_cannot_be_asked_for_is_a_file_system_error) {
    Faults faults(machine.world);
    faults.add("GetFileAttributesExW", L".command.json", 5);
    EXPECT_EQ(machine.refusal([&] { vandrel::read_command(options); }), L"[exists]");
}

TEST_F(CommandFile, is_only_read_and_stays_as_it_is_for_the_next_reader) {
    options.job_id = machine.job;
    machine.say("apply");
    const std::uint64_t before = machine.world.disk.fingerprint(L"C:\\");
    EXPECT_EQ(vandrel::read_command(options), L"apply");
    EXPECT_EQ(vandrel::read_command(options), L"apply");
    EXPECT_EQ(machine.world.disk.fingerprint(L"C:\\"), before);
}

}  // namespace
}  // namespace support
