#include "release/command_line.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <ostream>
#include <string>

#include "release/commands/commands.h"
#include "release/refusal.h"

namespace vandrel_release {
namespace {

// A message of a library may have several lines; ours is one.
int complain(std::ostream& err, std::string message, int exit_code) {
    for (char& unit : message) {
        if (unit == '\n' || unit == '\r') unit = ' ';
    }
    err << "vandrel-release: " << message << '\n';
    return exit_code;
}

}  // namespace

int run_command_line(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
    CLI::App app("Makes and serves releases of the client for its update helper.", "vandrel-release");
    app.require_subcommand(0, 1);  // none is complained of below, in better words
    Action action;
    add_keygen(app, action);
    add_publish(app, action);
    add_attach_signature(app, action);
    add_activate(app, action);
    add_prune(app, action);
    add_verify_tree(app, action);
    add_serve(app, action);
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
