#include "client_options.h"

#include <algorithm>
#include <map>

#include "vandrel_client/text.h"

namespace sample_client {
namespace {

using vandrel_client::to_utf8;
using Arguments = std::vector<std::wstring>;

[[noreturn]] void refuse(const std::wstring& argument, const char* reason) {
    throw UsageError(to_utf8(argument) + ": " + reason);
}

bool is_lower_hex(wchar_t unit) {
    return (unit >= L'0' && unit <= L'9') || (unit >= L'a' && unit <= L'f');
}

Answer read_answer(const std::wstring& value) {
    static const std::map<std::wstring, Answer> kAnswers{
        {L"ask", Answer::kAsk}, {L"apply", Answer::kApply}, {L"cancel", Answer::kCancel}, {L"none", Answer::kNone}};
    const auto found = kAnswers.find(value);
    if (found == kAnswers.end()) refuse(L"--answer", "expected ask, apply, cancel or none");
    return found->second;
}

std::string read_job(const std::wstring& value) {
    if (value.size() != 32 || !std::all_of(value.begin(), value.end(), is_lower_hex)) {
        refuse(L"--job", "expected 32 lower-case hexadecimal digits");
    }
    return to_utf8(value);
}

std::string read_profile(const std::wstring& value) {
    if (value.empty() || value == L"." || value == L".." || value.find_first_of(L"\\/:*?\"<>|") != std::wstring::npos) {
        refuse(L"--profile", "expected the name of a folder");
    }
    return to_utf8(value);
}

uint32_t read_milliseconds(const std::wstring& name, const std::wstring& value) {
    const bool digits =
        std::all_of(value.begin(), value.end(), [](wchar_t unit) { return unit >= L'0' && unit <= L'9'; });
    if (value.empty() || value.size() > 7 || !digits) refuse(name, "expected milliseconds, 7 digits at most");
    return static_cast<uint32_t>(std::stoul(value));
}

// True if `argument` was one of the switches without a value.
bool read_flag(const std::wstring& argument, ClientOptions& options) {
    const std::map<std::wstring, bool*> flags{{L"--stay", &options.stay},
                                              {L"--no-group", &options.no_group},
                                              {L"--no-update", &options.no_update},
                                              {L"--wait-ended", &options.wait_ended},
                                              {L"--vandrel-update-recovered", &options.recovered}};
    const auto found = flags.find(argument);
    if (found == flags.end()) return false;
    *found->second = true;
    return true;
}

void read_value(const std::wstring& name, const std::wstring& value, ClientOptions& options) {
    if (name == L"--answer") {
        options.answer = read_answer(value);
    } else if (name == L"--cancel-at") {
        options.cancel_at = to_utf8(value);
    } else if (name == L"--profile") {
        options.profile = read_profile(value);
    } else if (name == L"--job") {
        options.job = read_job(value);
    } else if (name == L"--linger") {
        options.linger_ms = read_milliseconds(name, value);
    } else if (name == L"--patience") {
        options.patience_ms = read_milliseconds(name, value);
    } else {
        refuse(name, "unknown switch");
    }
}

}  // namespace

ClientOptions parse_client_options(const Arguments& arguments) {
    ClientOptions options;
    for (size_t index = 0; index < arguments.size(); ++index) {
        const std::wstring& argument = arguments[index];
        if (argument != L"--vandrel-update-recovered") options.plain_start = false;
        if (read_flag(argument, options)) continue;
        const size_t equals = argument.find(L'=');
        if (equals != std::wstring::npos) {
            read_value(argument.substr(0, equals), argument.substr(equals + 1), options);
        } else if (index + 1 < arguments.size()) {
            read_value(argument, arguments[++index], options);
        } else {
            refuse(argument, "unknown switch, or its value is missing");
        }
    }
    return options;
}

}  // namespace sample_client
