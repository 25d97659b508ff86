#include "printhost/output.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "platform/host/leftovers.h"
#include "printhost/whole_job.h"

namespace kvprint {
namespace {

namespace fs = std::filesystem;
namespace host = kv::host;

std::optional<struct stat> status_of(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return std::nullopt;
    return info;
}

std::optional<struct stat> status_of(int descriptor) {
    struct stat info;
    if (fstat(descriptor, &info) != 0) return std::nullopt;
    return info;
}

bool is_same(const std::optional<struct stat>& a, const std::optional<struct stat>& b) {
    return a && b && a->st_dev == b->st_dev && a->st_ino == b->st_ino;
}

// What links lead to, even where there is nothing yet.
std::string follow_links(fs::path path) {
    constexpr int kMostLinks = 40;
    std::error_code error;
    for (int i = 0; i < kMostLinks && fs::is_symlink(fs::symlink_status(path, error)); ++i) {
        path = path.parent_path() / fs::read_symlink(path, error);
    }
    return path.string();
}

mode_t mode_of_new_files() {
    const mode_t masked = umask(0);
    umask(masked);
    return 0666 & ~masked;
}

}  // namespace

bool is_standard_output(const std::string& path) {
    if (path == kStandardStream) return true;
    return (path.starts_with("/dev/") || path.starts_with("/proc/")) &&
           is_same(status_of(path), status_of(STDOUT_FILENO));
}

void check_is_not(const std::string& output, const struct stat& input) {
    const auto status = is_standard_output(output) ? status_of(STDOUT_FILENO) : status_of(output);
    if (S_ISREG(input.st_mode) && is_same(status, input)) throw OutputFault(output + " is the input itself");
}

Output::Output(const std::string& path) : name_(path == kStandardStream ? "standard output" : path) {
    path_ = follow_links(path);
    replaced_ = status_of(path_);
    is_file_ = !is_standard_output(path) && (!replaced_ || S_ISREG(replaced_->st_mode));
    if (is_standard_output(path)) {
        descriptor_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
        if (descriptor_ < 0) fail(errno);
    } else if (is_file_) {
        open_file();
    } else {
        descriptor_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor_ < 0) fail(errno);
    }
}

// Where the system can, the file has no name until it is whole, so that nothing can be left of it.
void Output::open_file() {
    if (replaced_ && access(path_.c_str(), W_OK) != 0) fail(errno);
    const fs::path path = path_;
    if (path.filename().empty()) fail(EISDIR);
    const std::string folder = path.has_parent_path() ? path.parent_path().string() : ".";
    constexpr const char* kPrefix = ".kvprint-part-";
    host::clear_leftovers(folder, kPrefix);
    partial_ = folder + '/' + host::name_of_own(kPrefix);
    host::remove_at_signal(partial_);
    descriptor_ = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (descriptor_ < 0 && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
        descriptor_ = open(partial_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        has_name_ = descriptor_ >= 0;
        if (has_name_) flock(descriptor_, LOCK_EX | LOCK_NB);
    }
    if (descriptor_ < 0) fail(errno);
}

Output::~Output() {
    if (descriptor_ >= 0) close(descriptor_);
    if (has_name_) unlink(partial_.c_str());
    if (is_file_) host::keep_at_signal(partial_);
}

void Output::fail(const std::string& error) const { throw OutputFault("cannot write " + name_ + ": " + error); }
void Output::fail(int error) const { fail(std::strerror(error)); }

void Output::check_job(uint64_t size) const {
    const auto status = status_of(descriptor_);
    const bool complete = status && static_cast<uint64_t>(status->st_size) == size;
    if (!complete || !is_whole_job(descriptor_)) fail("what was written is not the whole job");
}

// Of a file of one's own only a file system without owners and modes refuses them.
void Output::take_mode() const {
    constexpr mode_t kPermissions = 0777;
    if (replaced_) {
        [[maybe_unused]] const int ignored = fchown(descriptor_, replaced_->st_uid, replaced_->st_gid);
    }
    const mode_t mode = replaced_ ? replaced_->st_mode & kPermissions : mode_of_new_files();
    if (fchmod(descriptor_, mode) != 0 && errno != EPERM) fail(errno);
}

// Some file systems report what they could not store when a descriptor of the file is closed, and nothing later.
void Output::flush() const {
    const int copy = fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
    if (copy < 0 || close(copy) != 0) fail(errno);
}

// A file without a name gets its own at once where none has it, so that there is no other name that a process killed
// here could leave.
void Output::give_name() {
    const std::string open_file = "/proc/self/fd/" + std::to_string(descriptor_);
    const auto link_to = [&](const std::string& path) {
        return linkat(AT_FDCWD, open_file.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
    };
    if (!has_name_ && !replaced_ && link_to(path_)) return;
    if (!has_name_ && !link_to(partial_)) fail(errno);
    has_name_ = true;
    if (std::rename(partial_.c_str(), path_.c_str()) != 0) fail(errno);
    has_name_ = false;
}

void Output::finish(const std::string& error, uint64_t size) {
    if (!error.empty()) fail(error);
    if (is_file_) {
        check_job(size);
        take_mode();
        flush();
        give_name();
    }
    const int closed = close(std::exchange(descriptor_, -1));
    if (closed != 0 && !is_file_) fail(errno);
}

}  // namespace kvprint
