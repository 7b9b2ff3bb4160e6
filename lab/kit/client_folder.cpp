#include "lab/kit/client_folder.h"

#include <shlobj.h>

#include <sstream>
#include <stdexcept>

#include "sample_client/vandrel_client/status_document.h"
#include "sample_client/vandrel_client/text.h"

namespace kit {
namespace {

namespace fs = std::filesystem;

constexpr const char* kProfile = "vandrel-windows-kit";
constexpr const char* kSource = " <- ";

fs::path profile_folder() {
    wchar_t roaming[MAX_PATH] = {};
    if (SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, 0, roaming) < 0) throw std::runtime_error("no profile");
    return fs::path(roaming) / L"BrindlerQ3" / kProfile;
}

void lay_out(const Place& place, const std::string& name) {
    if (!remove_tree(place.client())) throw std::runtime_error("the client's folder can't be removed");
    std::istringstream lines(content_of(place.kit / "interrupted" / (name + ".txt")));
    for (std::string line; std::getline(lines, line);) {
        const std::size_t arrow = line.find(kSource);
        if (arrow == std::string::npos) throw std::runtime_error("no file: " + line);
        const fs::path path = place.client() / line.substr(0, arrow);
        fs::create_directories(path.parent_path());
        const std::string source = line.substr(arrow + std::string(kSource).size());
        if (path.has_filename()) fs::copy_file(place.kit / source, path);
    }
}

// The kit's own file that stands at `name`, there or in a transaction's folder.
std::string source_of(const Place& place, const std::string& name) {
    const std::string content = content_of(place.client() / name);
    for (const char* side : {"old", "new"}) {
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(place.kit / side)) {
            const std::string known = entry.path().lexically_relative(place.kit / side).generic_string();
            if (entry.is_regular_file() && name.ends_with(known) && content_of(entry) == content) {
                return side + ("/" + known);
            }
        }
    }
    for (const char* other : {"record", "edited"}) {
        if (content_of(place.kit / other) == content) return other;
    }
    return "nothing of the kit's";
}

}  // namespace

Scene::Scene(const Place& place, const std::string& name) : place_(place) {
    lay_out(place, name);
    for (const fs::path& folder : {place.temporary(), profile_folder()}) {
        if (!remove_tree(folder)) throw std::runtime_error("an earlier start's files can't be removed");
        fs::create_directories(folder);
    }
    job = vandrel_client::open_job(kProfile, "");
}

Program Scene::start_client(Group& group, const std::wstring& arguments) const {
    const std::wstring own =
        L"--profile=" + vandrel_client::to_wide(kProfile) + L" --job=" + vandrel_client::to_wide(job.job) + L" ";
    return group.start(place_.client() / kClient, own + arguments, place_.client());
}

std::string Scene::starts() const {
    const fs::path log = profile_folder() / "client-started.log";
    return fs::exists(log) ? content_of(log) : "";
}

bool Scene::has_client_started() const {
    return !starts().empty();
}

std::string Scene::last_words() const {
    static constexpr const char* kStates[] = {"starting", "checking", "update_available", "downloading",
                                              "handoff",  "current",  "cancelled",        "error"};
    const auto status = vandrel_client::read_status(job.status, job.job);
    return status ? std::string(kStates[status->state]) + " '" + status->detail + "'" : "no status";
}

std::string Scene::clients_started() const {
    std::istringstream lines(starts());
    std::string line;
    std::getline(lines, line);  // the one that the kit has started
    std::string started;
    while (std::getline(lines, line)) {
        const bool is_recovered = line.find(" argument=--vandrel-update-recovered ") != std::string::npos;
        started += is_recovered ? " as recovered" : " plainly";
    }
    return started.empty() ? "not" : started.substr(1);
}

Answers Scene::look() const {
    Answers found;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(place_.client())) {
        const std::string name = entry.path().lexically_relative(place_.client()).generic_string();
        if (entry.is_directory()) {
            found.push_back({name + "/", "a folder"});
        } else {
            found.push_back({name, source_of(place_, name)});
        }
    }
    return found;
}

Profile::Profile() : folder_(profile_folder()), is_alone_(!fs::exists(folder_.parent_path())) {}

Profile::~Profile() {
    remove_tree(folder_);
    if (is_alone_) RemoveDirectoryW(folder_.parent_path().c_str());
}

}  // namespace kit
