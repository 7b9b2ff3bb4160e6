#include "release/passphrase.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "release/files.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

constexpr std::size_t kMaxBytes = 1024;
constexpr char kInterrupt = '\x03';

Passphrase checked(std::string text) {
    Passphrase passphrase(std::move(text));
    if (passphrase.text().empty()) throw Refusal("the passphrase is empty");
    if (passphrase.text().size() > kMaxBytes) {
        throw Refusal("the passphrase has more than " + std::to_string(kMaxBytes) + " bytes");
    }
    return passphrase;
}

// Byte by byte: what follows the line belongs to others.
Passphrase read_line(int descriptor) {
    std::string line;
    line.reserve(kMaxBytes + 2);  // never moved, so that no copy is left behind
    for (char unit = 0; line.size() <= kMaxBytes;) {
        const ssize_t count = ::read(descriptor, &unit, 1);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) refuse_system("cannot read the passphrase", errno);
        if (count == 0 || unit == '\n') break;
        line += unit;
    }
    if (line.ends_with('\r')) line.pop_back();
    return checked(std::move(line));
}

FileHandle open_terminal() {
    return FileHandle(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
}

// No echo, and the keys that end or stop a process are characters like others, as long as this stands.
class QuietTerminal {
 public:
    explicit QuietTerminal(int terminal) : terminal_(terminal) {
        if (::tcgetattr(terminal_, &before_) != 0) refuse_system("cannot use the terminal", errno);
        termios quiet = before_;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL | ISIG);
        if (::tcsetattr(terminal_, TCSAFLUSH, &quiet) != 0) refuse_system("cannot use the terminal", errno);
    }
    QuietTerminal(const QuietTerminal&) = delete;
    QuietTerminal& operator=(const QuietTerminal&) = delete;
    ~QuietTerminal() { ::tcsetattr(terminal_, TCSAFLUSH, &before_); }

 private:
    int terminal_;
    termios before_{};
};

void say(const FileHandle& terminal, const std::string& text) {
    if (::write(terminal.get(), text.data(), text.size()) < 0) refuse_system("cannot use the terminal", errno);
}

Passphrase ask_at_terminal(const FileHandle& terminal, const std::string& prompt) {
    const QuietTerminal quiet(terminal.get());
    say(terminal, prompt);
    Passphrase line = read_line(terminal.get());
    say(terminal, "\n");
    if (line.text().find(kInterrupt) != std::string::npos) throw Refusal("no passphrase was given");
    return line;
}

std::optional<Passphrase> from_named_source(const PassphraseSource& source) {
    if (source.descriptor) return read_line(*source.descriptor);
    if (!source.environment) return std::nullopt;
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing changes the environment
    const char* value = std::getenv(source.environment->c_str());
    if (value == nullptr) throw Refusal("there is no environment variable " + printable(*source.environment));
    return checked(value);
}

FileHandle need_terminal() {
    FileHandle terminal = open_terminal();
    if (!terminal) throw Refusal("there is no terminal to ask for the passphrase");
    return terminal;
}

}  // namespace

Passphrase::~Passphrase() {
    OPENSSL_cleanse(text_.data(), text_.size());
}

bool can_ask(const PassphraseSource& source) {
    return source.descriptor || source.environment || open_terminal();
}

Passphrase ask_passphrase(const PassphraseSource& source, const std::string& name) {
    if (std::optional<Passphrase> given = from_named_source(source)) return std::move(*given);
    return ask_at_terminal(need_terminal(), "Passphrase of " + name + ": ");
}

Passphrase choose_passphrase(const PassphraseSource& source, const std::string& name) {
    if (std::optional<Passphrase> given = from_named_source(source)) return std::move(*given);
    const FileHandle terminal = need_terminal();
    Passphrase first = ask_at_terminal(terminal, "New passphrase of " + name + ": ");
    const Passphrase second = ask_at_terminal(terminal, "Once more: ");
    if (first.text() != second.text()) throw Refusal("the two passphrases differ");
    return first;
}

}  // namespace vandrel_release
