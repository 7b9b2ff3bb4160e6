// The passphrase of a private key, and where it comes from.
#pragma once

#include <optional>
#include <string>

namespace vandrel_release {

// Its memory is wiped when it goes.
class Passphrase {
 public:
    explicit Passphrase(std::string text) : text_(std::move(text)) {}
    Passphrase(const Passphrase&) = delete;
    Passphrase& operator=(const Passphrase&) = delete;
    Passphrase(Passphrase&& other) noexcept = default;
    Passphrase& operator=(Passphrase&& other) noexcept = default;
    ~Passphrase();
    const std::string& text() const { return text_; }

 private:
    std::string text_;
};

// With neither, the user is asked at the terminal of the process.
struct PassphraseSource {
    std::optional<int> descriptor;           // its first line, without the line end
    std::optional<std::string> environment;  // the name of a variable
};

// Whether there is anything to ask: a source that is named, or a terminal.
bool can_ask(const PassphraseSource& source);

// The passphrase. At a terminal, without echo, behind "Passphrase of NAME: ". Throws Refusal if the source is none
// (see can_ask), can't be read, or gives an empty passphrase or one over 1024 bytes.
Passphrase ask_passphrase(const PassphraseSource& source, const std::string& name);

// As ask_passphrase for a new key: a terminal is asked twice. Refusal if the two differ.
Passphrase choose_passphrase(const PassphraseSource& source, const std::string& name);

}  // namespace vandrel_release
