// Text in the query of a request.
#pragma once

#include <string>

namespace vandrel {

// A query value: the UTF-8 bytes of `text`, all but a-z A-Z 0-9 - . _ ~ as "%XX" with upper-case digits. Empty if
// `text` has no UTF-8 form.
std::wstring percent_encode(const std::wstring& text);

}  // namespace vandrel
