// The one exception of the helper's own code, and the composers of its messages.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace vandrel {

// A failure with a text for the player: Portuguese without diacritics, ready for display.
// what() is always "Vandrel updater" and is shown to nobody.
struct Failure : std::runtime_error {
    // Takes the text over; the argument is left empty.
    explicit Failure(std::wstring&& text);

    std::wstring message;
};

// The message that means "the client cancelled through the command file". A marker, never shown: the entry turns it
// into the state "cancelled".
inline constexpr const wchar_t* kCancelled = L"cancelled";

// Throws Failure with a copy of `text` unless `condition` holds. The caller composes `text` before the call; where a
// failing system call is the condition, the error number in the text is thus older than that call, deliberately.
void require(bool condition, const std::wstring& text);
void require(bool condition, const wchar_t* text);  // a fixed text costs nothing where the condition holds

// How an operation that reports by result and text fails: sets `error` and gives false.
bool fail(std::wstring& error, std::wstring text);

// "<context> (<code>): <the system's text, line break included>", or "<context> (<code>)" where the system has none.
std::wstring system_error_text(const std::wstring& context, std::uint32_t code);

// "<context> (Windows <code>)". Asks the system for nothing.
std::wstring windows_error_text(const std::wstring& context, std::uint32_t code);

}  // namespace vandrel
