#include "release/command_line.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <filesystem>
#include <ostream>
#include <string>

#include "release/publish.h"
#include "release/refusal.h"
#include "release/serve.h"
#include "release/signing_key.h"

namespace vandrel_release {
namespace {

struct KeygenOptions {
    std::filesystem::path private_file;
    std::filesystem::path public_file;
};

CLI::App* add_keygen(CLI::App& app, KeygenOptions& options) {
    CLI::App* command = app.add_subcommand("keygen", "Make the key pair that signs releases: RSA, 3072 bits, PEM");
    command->footer(
        "Keep the private key off the server. The public key is built into the helper (VANDREL_PUBLIC_KEY).");
    command->add_option("--private", options.private_file, "New file for the private key (mode 0600)")->required();
    command->add_option("--public", options.public_file, "New file for the public key")->required();
    return command;
}

CLI::App* add_publish(CLI::App& app, PublishOptions& options) {
    CLI::App* command =
        app.add_subcommand("publish", "Sign a client folder as a release and make it the current one of a tree");
    command->footer(
        "Every file of the folder becomes part of the release. What the helper would refuse to install is refused "
        "here,\n"
        "with the helper's own reason; what isn't part of a release must be named with --skip.");
    command->add_option("--folder", options.folder, "The complete client folder")->required();
    command->add_option("--release", options.release, "Release number, 1 to 4294967295")->required();
    command->add_option("--key", options.key, "The private key (PEM)")->required();
    command->add_option("--tree", options.tree, "The tree to serve; made if it doesn't exist")->required();
    command->add_option("--arch", options.arch, "Channel")->capture_default_str();
    command->add_option("--client", options.clients,
                        "Client executable that must be able to take the release; may be repeated (default: each of\n"
                        "brindler_dx_x64.exe and brindler_gl_x64.exe that the folder holds)");
    command->add_option("--skip", options.skip_patterns,
                        "Leave out what matches: a path, or a pattern in which * and ? stand for anything, \"/\" too;\n"
                        "a folder goes with all that it holds; may be repeated");
    command->add_flag("--allow-older", options.allow_older, "Accept a number below the newest one in the tree");
    return command;
}

CLI::App* add_serve(CLI::App& app, ServeOptions& options) {
    CLI::App* command = app.add_subcommand("serve", "Serve a tree as the update endpoint: HTTPS, TLS 1.2");
    command->footer("Prints one line when ready, then one for each request. Ends with SIGINT or SIGTERM.");
    command->add_option("--tree", options.tree, "The tree to serve")->required();
    command->add_option("--port", options.port, "Port; 0 takes any that is free")->capture_default_str();
    command->add_option("--address", options.address, "Address to listen on")->capture_default_str();
    CLI::Option* certificate = command->add_option("--certificate", options.certificate, "Certificate chain (PEM)");
    CLI::Option* key = command->add_option("--certificate-key", options.certificate_key, "Its private key (PEM)");
    CLI::Option* make = command->add_option("--make-certificate", options.make_certificate,
                                            "Make a test authority and a certificate in this folder, and use them");
    CLI::Option* host = command->add_option("--host", options.hosts,
                                            "Host name or address for the made certificate, beside 127.0.0.1 and\n"
                                            "localhost; may be repeated");
    certificate->needs(key)->excludes(make);
    key->needs(certificate);
    host->needs(make);
    return command;
}

void print_report(const PublishOptions& options, const PublishReport& report, std::ostream& out) {
    for (const std::string& path : report.skipped) out << "skipped " << printable(path) << '\n';
    for (const std::string& note : report.notes) out << "note: " << note << '\n';
    out << "published release " << options.release << ": " << report.file_count << " files, " << report.size_bytes
        << " bytes, manifest " << report.manifest_bytes << " bytes\n";
}

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
    KeygenOptions keygen_options;
    PublishOptions publish_options;
    ServeOptions serve_options;
    const CLI::App* keygen = add_keygen(app, keygen_options);
    const CLI::App* publish_command = add_publish(app, publish_options);
    const CLI::App* serve_command = add_serve(app, serve_options);
    try {
        app.parse(argc, argv);
        if (app.get_subcommands().empty()) throw CLI::RequiredError("keygen, publish or serve");
        if (*serve_command && serve_options.certificate.empty() && serve_options.make_certificate.empty()) {
            throw CLI::RequiredError("--certificate or --make-certificate");
        }
    } catch (const CLI::Success& asked_for_help) {
        return app.exit(asked_for_help, out, err);
    } catch (const CLI::ParseError& error) {
        return complain(err, error.what(), 2);
    }
    try {
        if (*keygen) {
            write_key_pair(keygen_options.private_file, keygen_options.public_file);
        } else if (*publish_command) {
            print_report(publish_options, publish(publish_options), out);
        } else {
            serve(serve_options, out);
        }
        return 0;
    } catch (const std::exception& error) {
        return complain(err, error.what(), 1);
    }
}

}  // namespace vandrel_release
