// Somebody exchanges a folder for a junction while a program works beneath it, and what that does to what lies behind.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "winsim/explore/run.h"

namespace winsim::explore {

// `moved`: the folder is renamed away, and a junction takes its name. `emptied`: all that lies in it is moved away, and
// the folder itself becomes a junction, whoever has it open.
enum class Exchange : std::uint8_t { moved, emptied };

// What the program's calls have done behind the junction, each as "DeleteFileW C:\\x". Empty: nothing of the kind.
struct Damage {
    std::string deletion;  // the first call by which something that stood there is gone: DeleteFileW, RemoveDirectoryW
    std::string rename;    // by which it was moved away, or something came to its name: MoveFileExW, ReplaceFileW
    std::string write;     // by which something new has come that still stands there, or something else was written

    std::string text() const;  // "behind the junction: DeleteFileW C:\\x, MoveFileExW C:\\y", or empty
};

class ExchangedFolder {
 public:
    // Watches the calls of what is going to run on the world.
    explicit ExchangedFolder(World& world);
    ExchangedFolder(const ExchangedFolder&) = delete;
    ExchangedFolder& operator=(const ExchangedFolder&) = delete;

    // Now, from within a watcher, once. Behind the junction (C:\Behind) stand copies of all that stood in the folder,
    // and in each of its folders a stranger's letter; the folder's own content lies in C:\Aside. False if no plain
    // folder stands there, or if Windows refuses to rename what would have to be moved: what somebody has open without
    // sharing its deletion, and a folder beneath which something is open. What was moved by then stays moved.
    bool exchange(const std::wstring& folder, Exchange way);

    Damage damage() const;  // so far

 private:
    using Contents = std::map<std::wstring, std::shared_ptr<const Bytes>>;  // none for a folder

    void put_behind(const std::wstring& folder);
    void look(const Call& call);
    Contents contents() const;

    World& world_;
    bool done_ = false;
    Contents before_;
    std::size_t intact_ = 0;                       // of `before_`
    std::map<std::wstring, std::string> came_by_;  // the calls that have brought what didn't stand there
    std::shared_ptr<const Disk::State> last_;
    Damage damage_;
};

// Places between calls at which an exchange of a folder comes to the same: all those up to the call, behind the last
// call whose own effect the exchange may change.
struct SamePlaces {
    char process = 'p';
    std::uint64_t call = 0;   // the exchange in front of this call stands for all of them
    std::uint64_t count = 0;  // at which a plain folder stood there
};
// Runs, undisturbed, and gives its places for that folder.
std::vector<SamePlaces> exchange_places(Run& run, const std::wstring& folder);

}  // namespace winsim::explore
