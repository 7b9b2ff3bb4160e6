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

using Members = std::map<std::string, std::string>;

// The command document's own small grammar: one object of string members, no escapes, ASCII only.
class CommandParser {
 public:
    explicit CommandParser(std::string_view text) : text_(text) {}

    // The members; nothing where a key is repeated or something stands behind the closing brace.
    // Throws Failure "Comando parcial." or "Comando invalido.".
    std::optional<Members> parse();

 private:
    void skip_blanks();
    bool at(char byte) const { return position_ < text_.size() && text_[position_] == byte; }
    void expect(char byte);
    std::string read_string();

    std::string_view text_;
    std::size_t position_ = 0;
};

std::optional<Members> CommandParser::parse() {
    Members members;
    expect('{');
    for (;;) {
        std::string key = read_string();
        expect(':');
        std::string value = read_string();
        if (members.contains(key)) return std::nullopt;
        members.emplace(std::move(key), std::move(value));
        skip_blanks();
        if (at('}')) break;
        expect(',');
    }
    ++position_;
    skip_blanks();
    if (position_ != text_.size()) return std::nullopt;
    return members;
}

void CommandParser::skip_blanks() {
    while (at(' ') || at('\r') || at('\n') || at('\t')) ++position_;
}

// Blanks, then `byte`.
void CommandParser::expect(char byte) {
    skip_blanks();
    require(at(byte), L"Comando parcial.");
    ++position_;
}

std::string CommandParser::read_string() {
    expect('"');
    std::string value;
    while (position_ < text_.size() && text_[position_] != '"') {
        const char byte = text_[position_++];
        require(byte >= 0x20 && byte <= 0x7E && byte != '\\', L"Comando invalido.");
        value += byte;
    }
    require(at('"'), L"Comando parcial.");
    ++position_;
    return value;
}

std::wstring command_in(std::string_view text, const LaunchOptions& options) {
    const std::optional<Members> members = CommandParser(text).parse();
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
