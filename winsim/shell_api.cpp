// The shell's calls: splitting a command line, the roaming folder.
#include <shellapi.h>
#include <shlobj.h>

#include <algorithm>
#include <string>
#include <vector>

#include "winsim/call.h"
#include "winsim/world_impl.h"

namespace {

using winsim::World;

bool is_blank(wchar_t unit) {
    return unit == L' ' || unit == L'\t';
}

// Splits as CommandLineToArgvW does: the program's name knows no escapes; behind it, backslashes count only before a
// quote, two of them make one, an odd one makes the quote literal; the third quote in a row is literal.
class Splitter {
 public:
    explicit Splitter(std::wstring_view line) : line_(line) {}

    std::vector<std::wstring> split() {
        take_program();
        skip_blanks();
        while (!at_end()) {
            take_argument();
            skip_blanks();
        }
        return std::move(arguments_);
    }

 private:
    bool at_end() const { return at_ == line_.size(); }

    void skip_blanks() {
        while (!at_end() && is_blank(line_[at_])) ++at_;
    }

    void take_program() {
        const bool quoted = line_[0] == L'"';
        std::size_t end = quoted ? line_.find(L'"', 1) : line_.find_first_of(L" \t");
        if (end == std::wstring_view::npos) end = line_.size();
        const std::size_t begin = quoted ? 1 : 0;
        arguments_.emplace_back(line_.substr(begin, end - begin));
        at_ = std::min(line_.size(), quoted ? end + 1 : end);
    }

    void take_argument() {
        std::wstring argument;
        std::uint32_t quotes = 0;  // in the current run and open block: 1 is an open block
        std::size_t backslashes = 0;
        for (; !at_end() && (quotes != 0 || !is_blank(line_[at_])); ++at_) {
            const wchar_t unit = line_[at_];
            if (unit != L'"') {
                argument += unit;
                backslashes = unit == L'\\' ? backslashes + 1 : 0;
                continue;
            }
            argument.resize(argument.size() - (backslashes + 1) / 2);
            if (backslashes % 2 != 0) {
                argument += L'"';
            } else {
                quotes = take_quotes(quotes, argument);
            }
            backslashes = 0;
        }
        arguments_.push_back(std::move(argument));
    }

    // Goes over a run of quotes, to its last one; gives 1 if a block is open behind it, else 0.
    std::uint32_t take_quotes(std::uint32_t quotes, std::wstring& argument) {
        ++quotes;
        while (at_ + 1 < line_.size() && line_[at_ + 1] == L'"') {
            ++at_;
            if (++quotes < 3) continue;
            argument += L'"';
            quotes = 0;
        }
        return quotes == 2 ? 0 : quotes;
    }

    std::wstring_view line_;
    std::size_t at_ = 0;
    std::vector<std::wstring> arguments_;
};

// One block: the pointers, a null one, and the texts.
LPWSTR* in_one_block(World& world, const std::vector<std::wstring>& arguments) {
    std::size_t units = 0;
    for (const std::wstring& argument : arguments) units += argument.size() + 1;
    const std::size_t pointers = (arguments.size() + 1) * sizeof(LPWSTR);
    void* block = world.impl().allocate_block(pointers + units * sizeof(wchar_t));
    auto* const result = static_cast<LPWSTR*>(block);
    auto* text = reinterpret_cast<wchar_t*>(result + arguments.size() + 1);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        result[i] = text;
        text = std::copy(arguments[i].begin(), arguments[i].end(), text);
        *text++ = L'\0';
    }
    result[arguments.size()] = nullptr;
    return result;
}

}  // namespace

LPWSTR* WINAPI CommandLineToArgvW(LPCWSTR command_line, int* count) {
    return winsim::gated<LPWSTR*>("CommandLineToArgvW", command_line, nullptr, [&](World& world) {
        const std::wstring_view line = command_line;
        const std::vector<std::wstring> arguments =
            line.empty() ? std::vector<std::wstring>{world.impl().image} : Splitter(line).split();
        *count = static_cast<int>(arguments.size());
        return in_one_block(world, arguments);
    });
}

HRESULT WINAPI SHGetFolderPathW(HWND owner, int folder, HANDLE token, DWORD flags, LPWSTR path) {
    return winsim::gated_status("SHGetFolderPathW", {}, [&](World& world) -> HRESULT {
        winsim::demand(world, owner == nullptr && folder == CSIDL_APPDATA && token == nullptr && flags == 0,
                       "SHGetFolderPathW: anything but the roaming folder");
        if (world.roaming_error != 0) return static_cast<HRESULT>(world.roaming_error);
        winsim::demand(world, world.roaming.size() < MAX_PATH,
                       "SHGetFolderPathW: the world's roaming folder is too long");
        std::copy(world.roaming.begin(), world.roaming.end(), path);
        path[world.roaming.size()] = L'\0';
        return 0;
    });
}
