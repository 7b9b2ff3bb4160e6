#include "winsim/full_path.h"

#include <array>

#include "winsim/disk_names.h"

namespace winsim {
namespace {

bool has_drive(std::wstring_view path) {
    return path.size() >= 2 && path[1] == L':';
}

bool is_device_path(std::wstring_view path) {
    return path.size() >= 3 && is_separator(path[0]) && is_separator(path[1]) && (path[2] == L'.' || path[2] == L'?') &&
           (path.size() == 3 || is_separator(path[3]));
}

bool is_network_path(std::wstring_view path) {
    return path.size() >= 2 && is_separator(path[0]) && is_separator(path[1]);
}

bool is_numbered_port(std::wstring_view name) {
    if (name.size() != 4 || name[3] < L'1' || name[3] > L'9') return false;
    return same_folded(name.substr(0, 3), L"com") || same_folded(name.substr(0, 3), L"lpt");
}

bool is_device_name(std::wstring_view name) {
    constexpr std::array<std::wstring_view, 6> kNames = {L"con", L"prn", L"aux", L"nul", L"conin$", L"conout$"};
    if (name.size() < 3 || name.size() > 7) return false;
    for (const std::wstring_view device : kNames) {
        if (same_folded(name, device)) return true;
    }
    return is_numbered_port(name);
}

// The device that the last component names, whatever its folder and extension: "con" of "C:\x\con.txt"; else empty.
std::wstring_view device_of(std::wstring_view path) {
    if (has_drive(path)) path.remove_prefix(2);
    const std::size_t separator = path.find_last_of(L"\\/");
    std::wstring_view name = separator == std::wstring_view::npos ? path : path.substr(separator + 1);
    name = name.substr(0, name.find_first_of(L".:"));
    while (!name.empty() && name.back() == L' ') name.remove_suffix(1);
    return is_device_name(name) ? name : std::wstring_view();
}

// The part of a full path that ".." can't take away: "C:\", "\\server\share" or "\\?\".
std::size_t root_length(std::wstring_view full) {
    if (is_device_path(full)) return full.size() < 4 ? full.size() : 4;
    if (!is_network_path(full)) return 3;
    const std::size_t share = full.find_first_of(L"\\/", 2);
    if (share == std::wstring_view::npos) return full.size();
    const std::size_t end = full.find_first_of(L"\\/", share + 1);
    return end == std::wstring_view::npos ? full.size() : end;
}

class FullPath {
 public:
    FullPath(std::wstring& out, std::wstring_view current) : out_(out), current_(current) { out_.clear(); }

    void build(std::wstring_view path) {
        std::wstring_view rest;
        if (is_device_path(path) && path.size() == 3) {
            begin_at(L"\\\\.\\");  // "\\?" is the same
        } else if (is_network_path(path)) {
            const std::size_t root = root_length(path);
            begin_at(path.substr(0, root));
            rest = path.substr(root);
        } else if (has_drive(path)) {
            rest = begin_at_drive(path);
        } else if (is_separator(path[0])) {
            begin_at(current_.substr(0, root_length(current_)));
            rest = path;
        } else {
            begin_at_current();
            rest = path;
        }
        append_components(rest);
        drop_trailing_dots_and_blanks();
    }

 private:
    void begin_at(std::wstring_view root) {
        for (const wchar_t unit : root) out_ += unit == L'/' ? L'\\' : unit;
        root_ = out_.size();
    }

    void begin_at_current() {
        begin_at(current_.substr(0, root_length(current_)));
        append_components(current_.substr(root_));
    }

    std::wstring_view begin_at_drive(std::wstring_view path) {
        const std::wstring_view rest = path.substr(2);
        const bool absolute = !rest.empty() && is_separator(rest[0]);
        if (!absolute && has_drive(current_) && fold(current_[0]) == fold(path[0])) {
            begin_at_current();
            return rest;
        }
        begin_at(path.substr(0, 2));
        out_ += L'\\';
        root_ = out_.size();
        return rest;
    }

    void append_components(std::wstring_view rest) {
        std::size_t at = 0;
        while (at < rest.size()) {
            if (is_separator(rest[at])) {
                add_separator();
                ++at;
                continue;
            }
            std::size_t end = at;
            while (end < rest.size() && !is_separator(rest[end])) ++end;
            append_component(rest.substr(at, end - at), end == rest.size());
            at = end;
        }
    }

    void add_separator() {
        if (out_.back() != L'\\') out_ += L'\\';
    }

    void append_component(std::wstring_view name, bool last) {
        if (name == L".") {
            if (last) drop_separator();
        } else if (name == L"..") {
            remove_component();
            if (last) drop_separator();
        } else {
            add_separator();
            // One dot at the end of a folder's name goes; the last component loses its dots and blanks later.
            if (!last && name.back() == L'.' && name[name.size() - 2] != L'.') name.remove_suffix(1);
            out_ += name;
        }
    }

    void drop_separator() {
        if (out_.size() > root_ && out_.back() == L'\\') out_.pop_back();
    }

    void remove_component() {
        drop_separator();
        while (out_.size() > root_ && out_.back() != L'\\') out_.pop_back();
    }

    void drop_trailing_dots_and_blanks() {
        while (out_.size() > root_ && (out_.back() == L'.' || out_.back() == L' ')) out_.pop_back();
    }

    std::wstring& out_;
    std::wstring_view current_;
    std::size_t root_ = 0;
};

}  // namespace

const std::wstring& full_path(std::wstring_view path, std::wstring_view current_folder) {
    thread_local std::wstring result;  // this is called for every step of every guard: no allocation
    result.clear();
    if (path.find_first_not_of(L' ') == std::wstring_view::npos) return result;
    if (!is_network_path(path)) {
        const std::wstring_view device = device_of(path);
        if (!device.empty()) return result.append(L"\\\\.\\").append(device);
    }
    FullPath(result, current_folder).build(path);
    return result;
}

}  // namespace winsim
