#include "handshake/command_file.h"

#include <map>
#include <optional>
#include <string_view>

#include "base/failure.h"
#include "safefs/file_system.h"
#include "safefs/small_files.h"
#include "safefs/text_encoding.h"

namespace vandrel {

namespace {

using Members = std::map<std::string_view, std::string_view>;  // views into the text

// A walk through the command document, whose grammar is small: one object of string members, no escapes, ASCII only.
struct Cursor {
    std::string_view text;
    std::size_t position = 0;
};

bool at(const Cursor& cursor, char byte) {
    return cursor.position < cursor.text.size() && cursor.text[cursor.position] == byte;
}

void skip_blanks(Cursor& cursor) {
    while (at(cursor, ' ') || at(cursor, '\r') || at(cursor, '\n') || at(cursor, '\t')) ++cursor.position;
}

// Blanks, then `byte`.
void expect(Cursor& cursor, char byte) {
    skip_blanks(cursor);
    require(at(cursor, byte), L"Comando parcial.");
    ++cursor.position;
}

std::string_view read_string(Cursor& cursor) {
    expect(cursor, '"');
    const std::size_t begin = cursor.position;
    while (cursor.position < cursor.text.size() && !at(cursor, '"')) {
        const char byte = cursor.text[cursor.position++];
        require(byte >= 0x20 && byte <= 0x7E && byte != '\\', L"Comando invalido.");
    }
    const std::string_view value = cursor.text.substr(begin, cursor.position - begin);
    require(at(cursor, '"'), L"Comando parcial.");
    ++cursor.position;
    return value;
}

// The members; nothing where a key is repeated or something stands behind the closing brace.
// Throws Failure "Comando parcial." or "Comando invalido.".
std::optional<Members> parse_members(std::string_view text) {
    Cursor cursor{text};
    Members members;
    expect(cursor, '{');
    for (;;) {
        const std::string_view key = read_string(cursor);
        expect(cursor, ':');
        const std::string_view value = read_string(cursor);
        if (!members.emplace(key, value).second) return std::nullopt;
        skip_blanks(cursor);
        if (at(cursor, '}')) break;
        expect(cursor, ',');
    }
    ++cursor.position;
    skip_blanks(cursor);
    if (cursor.position != text.size()) return std::nullopt;
    return members;
}

std::wstring command_in(std::string_view text, const LaunchOptions& options) {
    const std::optional<Members> members = parse_members(text);
    if (!members || members->size() != 2) return {};
    const auto job = members->find("jobId");
    const auto command = members->find("command");
    if (job == members->end() || job->second != wide_to_utf8(options.job_id)) return {};
    if (command == members->end()) return {};
    if (command->second == "apply") return kApply;
    if (command->second == "cancel") return kCancel;
    return {};
}

}  // namespace

std::wstring read_command(const LaunchOptions& options) {
    if (!exists(options.command_path)) return {};
    try {
        const Bytes bytes = read_file_bounded(options.command_path, kCommandSizeLimit);
        return command_in({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, options);
    } catch (...) {  // nothing about the file's content is a failure: it is no command yet
        return {};
    }
}

bool is_cancel_requested(const LaunchOptions& options) {
    return read_command(options) == kCancel;
}

}  // namespace vandrel
