// The client's folder of the kit, and the profile whose files the clients and the helper share.
#pragma once

#include <string>

#include "lab/kit/answers.h"
#include "lab/kit/files.h"
#include "lab/kit/programs.h"
#include "sample_client/vandrel_client/job_files.h"

namespace kit {

inline constexpr const wchar_t* kClient = L"brindler_dx_x64.exe";
inline constexpr const wchar_t* kHelper = L"Vandrel Updater.exe";
inline constexpr DWORD kRunLimit_ms = 120000;  // for one start of the helper, to the end of all that it starts

// One start, in a folder as interrupted/NAME.txt lists it, with a profile and a folder for temporary files that are
// empty but for the job's own. Its functions throw what derives from std::exception: what is made then stays for the
// next one to remove.
class Scene {
 public:
    Scene(const Place& place, const std::string& name);

    vandrel_client::JobFiles job;

    // The sample client with these arguments, and the profile's.
    Program start_client(Group& group, const std::wstring& arguments) const;
    bool has_client_started() const;      // it has noted so
    std::string last_words() const;       // "current 'Cliente atualizado.'", or "no status"
    std::string clients_started() const;  // by the helper: "not", "plainly", "as recovered"
    // For everything in the folder which file of the kit stands there.
    Answers look() const;

 private:
    std::string starts() const;

    Place place_;
};

// The roaming profile's folder that all scenes share. Gone behind this object, with the folder above it if that wasn't
// there before.
class Profile {
 public:
    Profile();
    ~Profile();
    Profile(const Profile&) = delete;
    Profile& operator=(const Profile&) = delete;

 private:
    std::filesystem::path folder_;
    bool is_alone_;
};

}  // namespace kit
