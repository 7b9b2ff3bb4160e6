// UTF-8 and UTF-16, strictly, and the one case folding of the helper.
//
// Strict: an invalid sequence, an overlong form, an encoded or an unpaired surrogate fails the whole conversion; no
// replacement character is ever produced. A failure gives an empty text, and so does an empty input: callers treat the
// empty text as a refusal where it matters. Lengths are explicit: an embedded NUL is carried over, and no byte order
// mark is added or looked for. Wide text holds one UTF-16 unit per wchar_t. Nothing here throws but std::bad_alloc.
#pragma once

#include <string>
#include <string_view>

namespace vandrel {

std::wstring utf8_to_wide(std::string_view bytes);
std::string wide_to_utf8(std::wstring_view text);

// A to Z become a to z, one unit at a time; every other unit stays.
wchar_t fold_case(wchar_t unit);
std::wstring fold_case(std::wstring_view text);

// Exactly 32 characters, each of 0-9, a-f, A-F.
bool is_job_identifier(std::wstring_view text);

}  // namespace vandrel
