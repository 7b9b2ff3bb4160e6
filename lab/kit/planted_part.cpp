#include <cstdio>
#include <sstream>
#include <vector>

#include "lab/kit/client_folder.h"
#include "lab/kit/parts.h"
#include "sample_client/vandrel_client/command_file.h"
#include "sample_client/vandrel_client/text.h"

namespace kit {
namespace {

namespace fs = std::filesystem;
using vandrel_client::quote_argument;

constexpr DWORD kPoll_ms = 20;

class Planter {
 public:
    explicit Planter(const Place& place) : library_(place.kit / "planted.dll") {
        std::istringstream names(content_of(place.kit / "planted.txt"));
        for (std::string name; std::getline(names, name);) names_.push_back(name);
    }

    void plant(const fs::path& folder) const {
        for (const std::string& name : names_) fs::copy_file(library_, folder / (name + ".dll"));
    }
    void clear(const fs::path& folder) const {
        for (const std::string& name : names_) remove_tree(folder / (name + ".dll"));
    }

    // Those that the helper has run: each notes the program that runs it.
    std::string run_in(const fs::path& folder) const {
        std::string all;
        for (const std::string& name : names_) {
            const fs::path mark = folder / (name + ".dll.ran");
            const bool is_marked =
                fs::exists(mark) && content_of(mark).find(fs::path(kHelper).string()) != std::string::npos;
            if (is_marked) all += " " + name;
        }
        return all.empty() ? "none" : all.substr(1);
    }

 private:
    fs::path library_;
    std::vector<std::string> names_;
};

// One start of the helper with libraries beside it and beside its temporary copy; or of that copy alone, as the helper
// would have started it.
class Planted {
 public:
    Planted(const Place& place, const std::string& stage, bool is_copy)
        : place_(place),
          name_(stage + (is_copy ? ", the copy alone" : "")),
          is_copy_(is_copy),
          scene_(place, stage),
          planter_(place),
          copy_(place.temporary() / "VandrelUpdater" / scene_.job.job) {}

    void run(Answers& answers) {
        std::printf("planted: %s\n", name_.c_str());
        Group clients;
        const Program client = scene_.start_client(clients, L"--no-update --linger=300000");
        while (!scene_.has_client_started() && clients.is_running()) Sleep(kPoll_ms);  // nothing stands beside it yet
        plant();
        vandrel_client::remember_job(scene_.job);  // so that the client that is started again knows its profile
        Group helpers;
        helpers.start((is_copy_ ? copy_ : place_.client()) / kHelper, arguments(client.id), place_.client());
        vandrel_client::forget_job();
        const ULONGLONG end = GetTickCount64() + kRunLimit_ms;
        while (helpers.is_running() && !scene_.last_words().starts_with("handoff") && GetTickCount64() < end) {
            Sleep(kPoll_ms);
        }
        planter_.clear(place_.client());  // the first instance has ended, and a client is about to be started
        clients.end(client);
        helpers.wait(kRunLimit_ms);
        answers.push_back({name_ + ", last words", scene_.last_words()});
        answers.push_back({name_ + ", the client started", scene_.clients_started()});
        answers.push_back({name_ + ", run from the client's folder", planter_.run_in(place_.client())});
        answers.push_back({name_ + ", run from the copy's folder", planter_.run_in(copy_)});
    }

 private:
    void plant() const {
        fs::create_directories(copy_);
        for (const fs::path& folder : {place_.client(), copy_}) planter_.plant(folder);
        if (is_copy_) fs::copy_file(place_.client() / kHelper, copy_ / kHelper);
        vandrel_client::write_command(scene_.job, "apply");
    }

    std::wstring arguments(DWORD client) const {
        const std::wstring line = vandrel_client::helper_command_line(L"", kClient, client, scene_.job);
        const std::wstring own = line.substr(line.find(L'/'));
        return is_copy_ ? own + L" /RELOCATED /ROOT=" + quote_argument(place_.client().native()) : own;
    }

    const Place& place_;
    std::string name_;
    bool is_copy_;
    Scene scene_;
    Planter planter_;
    fs::path copy_;
};

}  // namespace

void ask_planted(const Place& place, Report& report) {
    Answers answers;
    for (const auto& [stage, is_copy] : {std::pair("no server", false), {"no server", true}, {"half way", false}}) {
        try {
            Planted(place, stage, is_copy).run(answers);
        } catch (const std::exception& error) {
            answers.push_back({std::string(stage) + ", failed", error.what()});
        }
    }
    report.add("planted", parse_answers(content_of(place.kit / "expected" / "planted.txt")), answers);
}

}  // namespace kit
