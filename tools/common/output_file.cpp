#include "tools/common/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <utility>

#include "tools/common/streams.h"

namespace kvtools {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void throw_error(const std::string& name, int error) {
    throw std::runtime_error("cannot write " + name + ": " + std::strerror(error));
}

// Files under way, for whoever interrupts the program. More than these are not removed then.
std::array<std::atomic<const char*>, 64> unfinished;

void remember(const char* path) {
    for (auto& place : unfinished) {
        const char* none = nullptr;
        if (place.compare_exchange_strong(none, path)) return;
    }
}
void forget(const char* path) {
    for (auto& place : unfinished) {
        const char* same = path;
        if (place.compare_exchange_strong(same, nullptr)) return;
    }
}

void remove_and_end(int signal) {
    for (const auto& place : unfinished) {
        if (const char* path = place.load()) unlink(path);
    }
    raise(signal);  // which the system's own action meets now
}

// A file that is mapped into memory has become shorter.
void end_at_cut_input(int) {
    for (const auto& place : unfinished) {
        if (const char* path = place.load()) unlink(path);
    }
    const char* parts[] = {program_invocation_short_name, ": a file was cut short while it was read\n"};
    for (const char* part : parts) {
        if (write(STDERR_FILENO, part, std::strlen(part)) < 0) break;
    }
    _exit(EXIT_FAILURE);
}

// "-", and the names under which the system shows a program its own descriptors.
std::optional<int> named_descriptor(const std::string& name, int standard) {
    if (name == "-") return standard;
    if (name == "/dev/stdin") return STDIN_FILENO;
    if (name == "/dev/stdout") return STDOUT_FILENO;
    if (name == "/dev/stderr") return STDERR_FILENO;
    for (const std::string folder : {"/dev/fd/", "/proc/self/fd/"}) {
        int number = 0;
        const char* end = name.data() + name.size();
        if (name.starts_with(folder) && std::from_chars(name.data() + folder.size(), end, number).ptr == end) {
            return number;
        }
    }
    return std::nullopt;
}

bool get_status(const std::string& name, int standard, struct stat& status) {
    const auto descriptor = named_descriptor(name, standard);
    return (descriptor ? fstat(*descriptor, &status) : stat(name.c_str(), &status)) == 0;
}

bool is_one_of(const struct stat& output, std::span<const std::string> inputs) {
    return S_ISREG(output.st_mode) && std::any_of(inputs.begin(), inputs.end(), [&](const std::string& input) {
               struct stat status = {};
               return get_status(input, STDIN_FILENO, status) && status.st_dev == output.st_dev &&
                      status.st_ino == output.st_ino;
           });
}

// Where a link leads in the end, also when nothing is there yet. The system has refused rings of links before.
std::string followed(fs::path path) {
    constexpr int kMostLinks = 40;
    std::error_code none;
    for (int i = 0; i < kMostLinks && fs::is_symlink(path, none); ++i) {
        const fs::path next = fs::read_symlink(path, none);
        path = next.is_absolute() ? next : path.parent_path() / next;
    }
    return path.string();
}

}  // namespace

OutputFile::OutputFile(const std::string& name, std::span<const std::string> inputs)
    : name_(name == "-" ? "standard output" : name) {
    struct stat status = {};
    if (get_status(name, STDOUT_FILENO, status) && is_one_of(status, inputs)) {
        throw std::runtime_error("cannot write " + name_ + ": it is the input");
    }
    open(name);
}

OutputFile::~OutputFile() { discard(); }

void OutputFile::fail(int error) {
    discard();
    throw_error(name_, error);
}

void OutputFile::open(const std::string& name) {
    struct stat status = {};
    int descriptor = -1;
    if (const auto named = named_descriptor(name, STDOUT_FILENO)) {
        if (*named == STDOUT_FILENO) std::fflush(stdout);
        descriptor = fcntl(*named, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    } else if (stat(name.c_str(), &status) != 0) {
        if (errno != ENOENT) fail(errno);
        return open_beside(followed(name));
    } else if (S_ISREG(status.st_mode)) {
        return open_beside(followed(name));
    } else {
        descriptor = ::open(name.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
    }
    take(descriptor);
}

void OutputFile::take(int descriptor) {
    if (descriptor < 0) fail(errno);
    file_ = fdopen(descriptor, "w");
    if (file_) return;
    close(descriptor);
    fail(EBADF);  // it can only be read
}

void OutputFile::open_beside(const std::string& target) {
    constexpr mode_t kNew = 0666, kMode = 07777;
    static std::atomic<unsigned> files = 0;
    struct stat old = {};
    const bool replaces = stat(target.c_str(), &old) == 0;
    if (replaces && access(target.c_str(), W_OK) != 0) fail(errno);
    int descriptor = -1;
    do {  // another one's leftovers may have the name
        const std::string own = ".karvo-" + std::to_string(getpid()) + "-" + std::to_string(files++);
        beside_ = (fs::path(target).parent_path() / own).string();
        descriptor = ::open(beside_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNew);
    } while (descriptor < 0 && errno == EEXIST);
    if (descriptor < 0) {
        beside_.clear();
        fail(errno);
    }
    remember(beside_.c_str());
    target_ = target;
    take(descriptor);
    if (!replaces) return;
    if (fchown(descriptor, old.st_uid, old.st_gid) != 0 && errno != EPERM) fail(errno);
    if (fchmod(descriptor, old.st_mode & kMode) != 0) fail(errno);
}

void OutputFile::discard() {
    if (file_) std::fclose(std::exchange(file_, nullptr));
    if (beside_.empty()) return;
    unlink(beside_.c_str());
    forget(beside_.c_str());
    beside_.clear();
}

void OutputFile::write(std::span<const uint8_t> bytes) {
    if (!bytes.empty() && std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) fail(errno);
}

void OutputFile::finish() {
    if (std::fclose(std::exchange(file_, nullptr)) != 0) fail(errno);
    if (beside_.empty()) return;
    if (rename(beside_.c_str(), target_.c_str()) != 0) fail(errno);
    forget(beside_.c_str());
    beside_.clear();
}

void prepare_output() {
    kv::cli::hold_standard_streams();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGBUS, end_at_cut_input);
    struct sigaction action = {};
    action.sa_handler = remove_and_end;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
        struct sigaction before = {};
        if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            sigaction(signal, &action, nullptr);
        }
    }
}

}  // namespace kvtools
