#include "release/commands/release_option.h"

#include <string>

#include "release/refusal.h"
#include "release/tree.h"

namespace vandrel_release {
namespace {

CLI::Option* add(CLI::App& command, const char* name, std::uint32_t& release) {
    const auto take = [&release](const std::string& text) {
        const auto number = parse_release_number(text);
        if (!number) {
            throw CLI::ValidationError("\"" + printable(text) +
                                       "\" is no release number, which is 1 to 4294967295 in plain decimal");
        }
        release = *number;
    };
    return command.add_option_function<std::string>(name, take, "Release number, 1 to 4294967295");
}

}  // namespace

CLI::Option* add_release_option(CLI::App& command, std::uint32_t& release, const char* name) {
    return add(command, name, release);
}

CLI::Option* add_release_argument(CLI::App& command, std::uint32_t& release) {
    return add(command, "release", release);
}

}  // namespace vandrel_release
