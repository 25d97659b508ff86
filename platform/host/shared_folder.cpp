// The folder of what processes share by name. It must be the user's alone: whoever could write there could pose as the
// user's dispatcher.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "platform/host/state.h"

namespace kv::host {
namespace {

struct SharedFolder {
    std::mutex lock;
    std::string path;     // set by control, or the default where it was first asked for; else empty
    int descriptor = -1;  // of the folder `opened`
    std::string opened;
};
SharedFolder& state() {
    static SharedFolder instance;
    return instance;
}

std::string default_folder() {
    if (std::string inherited = environment(kSharedVariable); !inherited.empty()) return inherited;
    struct stat info;
    const std::string runtime = environment("XDG_RUNTIME_DIR");
    if (!runtime.empty() && stat(runtime.c_str(), &info) == 0 && info.st_uid == getuid()) return runtime + "/karvo";
    std::error_code error;
    const std::filesystem::path temporary = std::filesystem::temp_directory_path(error);
    return (error ? std::filesystem::path("/tmp") : temporary) / ("karvo-" + std::to_string(getuid()));
}

// -1 unless the folder can be made or is there, and no one else can write or look into it.
int open_private_folder(const std::string& path) {
    mkdir(path.c_str(), 0700);
    const int descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    struct stat info;
    if (descriptor >= 0 && fstat(descriptor, &info) == 0 && info.st_uid == getuid() && (info.st_mode & 077) == 0) {
        return descriptor;
    }
    if (descriptor >= 0) close(descriptor);
    return -1;
}

}  // namespace

std::string environment(const char* variable) {
    const char* value = std::getenv(variable);
    return value ? value : "";
}

void set_shared_folder(const std::string& host_folder) {
    std::lock_guard guard(state().lock);
    state().path = host_folder;
}

// One for all of the process's life: where the user's folder cannot be looked at for once, a server would else lose
// sight of its own pipe.
std::string shared_folder() {
    std::lock_guard guard(state().lock);
    if (state().path.empty()) state().path = default_folder();
    return state().path;
}

void reset_shared_folder() { set_shared_folder(""); }

uint32_t inherited_session() {
    const std::string text = environment(kSessionVariable);
    return text.empty() ? 1 : static_cast<uint32_t>(std::strtoul(text.c_str(), nullptr, 10));
}

std::string shared_path(const std::string& kind, const std::u16string& name) {
    constexpr size_t kLongestName = 64;  // bytes, of the last component
    std::string file = kind + '-' + to_utf8(lower_case(name));
    for (char& byte : file) {
        if (byte == '\\' || byte == '/') byte = '_';
    }
    if (file.size() > kLongestName) return fail_with(ERROR_INVALID_NAME, std::string());
    const std::string folder = shared_folder();
    SharedFolder& shared = state();
    std::lock_guard guard(shared.lock);
    struct stat info;
    if (shared.opened != folder || fstat(shared.descriptor, &info) != 0 || info.st_nlink == 0) {
        if (shared.descriptor >= 0) close(shared.descriptor);
        shared.descriptor = open_private_folder(folder);
        shared.opened = shared.descriptor >= 0 ? folder : "";
    }
    if (shared.descriptor < 0) return fail_with(ERROR_ACCESS_DENIED, std::string());
    return "/proc/self/fd/" + std::to_string(shared.descriptor) + '/' + file;
}

}  // namespace kv::host
