#include <memory>
#include <ostream>

#include "release/commands/commands.h"
#include "release/commands/release_option.h"
#include "release/detached_signature.h"

namespace vandrel_release {

void add_attach_signature(CLI::App& app, Action& action) {
    const auto given = std::make_shared<AttachOptions>();
    AttachOptions& options = *given;
    CLI::App* command = app.add_subcommand(
        "attach-signature", "Complete a release that was published with --unsigned, and make it current");
    command->footer("Nothing becomes visible before the signature has been verified.");
    command->add_option("--tree", options.tree, "The tree in which the release waits")->required();
    add_release_option(*command, options.release)->required();
    command
        ->add_option("--signature", options.signature,
                     "The signature, RSASSA-PSS over SHA-256 with a salt of 32 bytes: 384 bytes, or their base64")
        ->required();
    command->add_option("--public", options.public_key, "The public key that it must verify with (PEM)")->required();
    command->add_flag_callback(
        "--draft", [given] { given->current = MakeCurrent::no; }, "Do not make it the current release yet");
    command->callback([given, &action] {
        action = [given](const Console& console) {
            attach_signature(*given);
            console.out << (given->current == MakeCurrent::yes ? "published release " : "release ") << given->release
                        << (given->current == MakeCurrent::yes ? "\n" : " is signed and a draft\n");
            return 0;
        };
    });
}

}  // namespace vandrel_release
