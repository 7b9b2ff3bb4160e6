// A library to be preloaded into Wine's programs: it tells them that every folder's file system ignores case by itself,
// as that of Windows does. Wine then takes the system's word for a name that isn't there; otherwise it reads the whole
// folder for the same name in another case. Names must come in their own spelling. For measurements in large folders.
#include <dlfcn.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <cstring>

namespace {

// Wine knows such a file system by its kind, FUSE, and by a file of this name in each folder.
constexpr decltype(statfs::f_type) kKind = 0x65735546;
constexpr const char* kSign = ".ciopfs";

template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int fstatfs(int file, struct statfs* answer) noexcept {
    static auto* const real = next<int(int, struct statfs*)>("fstatfs");
    const int result = real(file, answer);
    answer->f_type = kKind;
    return result;
}

extern "C" int fstatat(int folder, const char* path, struct stat* answer, int flags) noexcept {
    static auto* const real = next<int(int, const char*, struct stat*, int)>("fstatat");
    return real(folder, std::strcmp(path, kSign) == 0 ? "." : path, answer, flags);
}
