#include "release/command_line.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <istream>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "release/commands/commands.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

constexpr const char* kExitCodes =
    "Exit codes:\n"
    "  0  done; verify: the folder is current\n"
    "  1  refused, failed, or found wrong; the reason is on stderr or in what was asked for\n"
    "  2  the command line, or the file of options, is wrong\n"
    "  3  verify: the helper would download files\n"
    "  4  verify: the helper would refuse the release or what stands in the folder";

constexpr std::size_t kMaxOptionsBytes = 64U << 10U;

// Files of options as the library reads them, but bounded, and without names that are nested: no command has another
// one within it, and the library takes 3 GB for a "[a.a.a...]" of 20,000 bytes.
class OptionsFile : public CLI::ConfigTOML {
 public:
    OptionsFile() { parentSeparator('\n'); }  // which no line contains

    std::vector<CLI::ConfigItem> from_config(std::istream& input) const override {
        std::string text(kMaxOptionsBytes + 1, '\0');
        input.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(input.gcount()));
        if (text.size() > kMaxOptionsBytes) {
            throw CLI::ConfigError("the file of options is larger than " + std::to_string(kMaxOptionsBytes) + " bytes");
        }
        std::istringstream bounded(text);
        return CLI::ConfigTOML::from_config(bounded);
    }
};

// A message of a library may have several lines, and repeat what the user typed; ours is one, and printable.
int complain(std::ostream& err, std::string message, int exit_code) {
    for (char& unit : message) {
        if (unit == '\n' || unit == '\r') unit = ' ';
    }
    err << "vandrel-release: " << printable(message) << '\n';
    return exit_code;
}

const CLI::App& command_named(const CLI::App& app, const std::string& name) {
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (command->get_name() == name) return *command;
    }
    throw CLI::ValidationError("there is no command " + name);
}

// `vandrel-release help [COMMAND]`, the same as --help.
void add_help(CLI::App& app, Action& action) {
    const auto name = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand("help", "Show this text, or that of a command");
    command->add_option("command", *name, "The command");
    command->callback([name, &app, &action] {
        action = [name, &app](const Console& console) {
            const CLI::App& shown = name->empty() ? app : command_named(app, *name);
            const std::string usage = app.get_name() + (name->empty() ? "" : " " + *name);
            // Not help(), which would show the chosen command's own, this one.
            console.out << app.get_formatter()->make_help(&shown, usage, CLI::AppFormatMode::Normal);
            return 0;
        };
    });
}

void set_up(CLI::App& app) {
    app.require_subcommand(0, 1);  // none is complained of below, in better words
    app.set_version_flag("--version", "vandrel-release " VANDREL_VERSION);
    app.config_formatter(std::make_shared<OptionsFile>());
    app.allow_config_extras(CLI::config_extras_mode::error);
    app.set_config("--config", "",
                   "Read options from this file: under the command's name in brackets, lines \"OPTION = VALUE\", and\n"
                   "[\"A\", \"B\"] for several values; what the command line says goes before");
    app.fallthrough();  // so that it may stand behind the command as well
}

}  // namespace

int run_command_line(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    CLI::App app("Makes and serves releases of the client for its update helper.", "vandrel-release");
    set_up(app);
    Action action;
    add_keygen(app, action);
    add_publish(app, action);
    add_attach_signature(app, action);
    add_activate(app, action);
    add_prune(app, action);
    add_verify_tree(app, action);
    add_rehearse(app, action);
    add_serve(app, action);
    add_inspect(app, action);
    add_verify(app, action);
    add_diff(app, action);
    add_help(app, action);
    app.footer(kExitCodes);  // after the commands, which would inherit it
    try {
        app.parse(argc, argv);
        if (!action) throw CLI::RequiredError("a command (see --help)");
        return action(Console{out, err});
    } catch (const CLI::Success& asked_for_help) {
        return app.exit(asked_for_help, out, err);
    } catch (const CLI::ParseError& error) {
        return complain(err, error.what(), 2);
    } catch (const Refusals& refusals) {
        for (const std::string& line : refusals.lines()) complain(err, line, 1);
        return 1;
    } catch (const std::exception& error) {
        return complain(err, error.what(), 1);
    }
}

}  // namespace vandrel_release
