#include <cstdio>

#include "lab/kit/client_folder.h"
#include "lab/kit/parts.h"

namespace kit {
namespace {

namespace fs = std::filesystem;

void ask(const Place& place, const std::string& name, Answers& answers) try {
    std::printf("interrupted: %s\n", name.c_str());
    const Scene scene(place, name);
    Group group;
    scene.start_client(group, L"--answer=apply");
    const bool in_time = group.wait(kRunLimit_ms);
    answers.push_back({name + ", last words", scene.last_words() + (in_time ? "" : ", and then nothing")});
    answers.push_back({name + ", the client started", scene.clients_started()});
    for (const Answer& file : scene.look()) answers.push_back({name + ", " + file.key, file.value});
} catch (const std::exception& error) {
    answers.push_back({name + ", failed", error.what()});
}

}  // namespace

void ask_interrupted(const Place& place, Report& report) {
    Answers answers;
    for (const fs::directory_entry& entry : fs::directory_iterator(place.kit / "interrupted")) {
        ask(place, entry.path().stem().string(), answers);
    }
    report.add("interrupted", parse_answers(content_of(place.kit / "expected" / "interrupted.txt")), answers);
}

}  // namespace kit
