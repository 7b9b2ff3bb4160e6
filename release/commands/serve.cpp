#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "release/commands/commands.h"
#include "release/refusal.h"
#include "release/serve.h"

namespace vandrel_release {
namespace {

FaultRule fault_rule(const std::string& text) {
    const std::optional<FaultRule> rule = parse_fault_rule(text);
    if (!rule) throw CLI::ValidationError("--fail " + printable(text) + ": see vandrel-release serve --help");
    return *rule;
}

}  // namespace

void add_serve(CLI::App& app, Action& action) {
    const auto given = std::make_shared<ServeOptions>();
    ServeOptions& options = *given;
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
    const auto failures = std::make_shared<std::vector<std::string>>();
    command->add_option(
        "--fail", *failures,
        "Let answers fail on purpose: WHAT[:COUNT][:manifest|:download], so many (default 1) of those\n"
        "that would be complete, to either request or to that one; may be repeated, and the first that\n"
        "fits and isn't used up counts. WHAT is 503 (that status), close (no answer), truncate (half of\n"
        "the file, then closed), stall (half, then silence for 60 s) or corrupt (one wrong bit)");
    certificate->needs(key)->excludes(make);
    key->needs(certificate);
    host->needs(make);
    command->callback([given, failures, &action] {
        action = [given, failures](const Console& console) {
            if (given->certificate.empty() && given->make_certificate.empty()) {
                throw CLI::RequiredError("--certificate or --make-certificate");
            }
            for (const std::string& text : *failures) given->faults.push_back(fault_rule(text));
            serve(*given, console.out);
            return 0;
        };
    });
}

}  // namespace vandrel_release
