#include "dispatcher/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "dispatcher/host/descriptor.h"
#include "dispatcher/machine.h"
#include "dispatcher/safe_text.h"

namespace kvdisp12 {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& what, const std::string& name) {
    throw FileError(what + ' ' + in_quotes(name) + ": " + std::strerror(errno));
}
[[noreturn]] void refuse(const std::string& name, const std::string& why) {
    throw FileError(in_quotes(name) + ": " + why);
}

// Opening never waits, for a FIFO's other end or anything else.
constexpr int kFileFlags = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

Moved rename_without_replacing(int from, const char* name, int to, const char* new_name) {
    int result = renameat2(from, name, to, new_name, RENAME_NOREPLACE);
    if (result != 0 && (errno == EINVAL || errno == ENOSYS)) {  // a file system that knows no such flag
        if (faccessat(to, new_name, F_OK, AT_SYMLINK_NOFOLLOW) == 0) return Moved::NameTaken;
        result = renameat(from, name, to, new_name);
    }
    if (result == 0) return Moved::Done;
    if (errno == EEXIST) return Moved::NameTaken;
    if (errno == EXDEV) return Moved::OtherVolume;
    fail("cannot move", name);
}

// The folder of a path below a root, each part opened without following links.
Descriptor open_parent(const std::string& root, const std::string& below) {
    Descriptor folder(open(root.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!folder) fail("cannot open", root);
    for (size_t at = 0, end; (end = below.find('/', at)) != std::string::npos; at = end + 1) {
        const std::string part = below.substr(at, end - at);
        folder = Descriptor(openat(folder.get(), part.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!folder) fail("cannot open", part);
    }
    return folder;
}

// The part of a path below a root, as the root is written or as it is without links. Nothing where it lies elsewhere.
std::optional<std::string> part_below(const std::string& path, const std::string& root) {
    std::error_code error;
    for (std::string each : {root, fs::canonical(root, error).string()}) {
        while (each.size() > 1 && each.back() == '/') each.pop_back();
        if (!each.empty() && path.starts_with(each + '/')) return path.substr(each.size() + 1);
    }
    return std::nullopt;
}

}  // namespace

struct Folder::Handle {
    Descriptor descriptor;
};

Folder::Folder(const std::string& path, Owner owner) : path_(path), handle_(std::make_unique<Handle>()) {
    std::error_code ignored;
    fs::create_directories(fs::path(path).parent_path(), ignored);
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) fail("cannot make the folder", path);
    const int links = owner == Owner::Ours ? O_NOFOLLOW : 0;
    handle_->descriptor = Descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | links));
    if (!handle_->descriptor) fail("cannot open the folder", path);
    struct stat info = {};
    if (owner == Owner::Anyone) return;
    if (fstat(handle_->descriptor.get(), &info) != 0) fail("cannot open the folder", path);
    if (info.st_uid != geteuid()) refuse(path, "the folder is another user's");
    if ((info.st_mode & 077) != 0 && fchmod(handle_->descriptor.get(), 0700) != 0) fail("cannot close to others", path);
}

Folder::~Folder() = default;

std::string Folder::path_of(const std::string& name) const { return path_ + '/' + name; }

std::vector<std::string> Folder::names() const {
    std::vector<std::string> names;
    DIR* listing = fdopendir(openat(handle_->descriptor.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!listing) fail("cannot list", path_);
    while (const dirent* entry = readdir(listing)) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    closedir(listing);
    return names;
}

bool Folder::has(const std::string& name) const {
    return faccessat(handle_->descriptor.get(), name.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0;
}

Moved Folder::move(const std::string& name, const Folder& to, const std::string& new_name) const {
    return rename_without_replacing(handle_->descriptor.get(), name.c_str(), to.handle_->descriptor.get(),
                                    new_name.c_str());
}

void Folder::remove(const std::string& name) const {
    if (unlinkat(handle_->descriptor.get(), name.c_str(), 0) != 0 && errno != ENOENT) fail("cannot remove", name);
}

int Folder::make_file(const std::string& name) const {
    constexpr int kFlags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    const int file = openat(handle_->descriptor.get(), name.c_str(), kFlags, 0600);
    if (file < 0) fail("cannot make", path_of(name));
    return file;
}

void Folder::flush() const {
    if (fsync(handle_->descriptor.get()) != 0 && errno != EINVAL) fail("cannot flush", path_);
}

uint64_t Folder::free_space() const {
    struct statvfs info = {};
    if (fstatvfs(handle_->descriptor.get(), &info) != 0) fail("cannot look at", path_);
    return static_cast<uint64_t>(info.f_bavail) * info.f_frsize;
}

struct JobFile::Handle {
    Descriptor parent, file;
    std::string path, name;
    struct stat info = {};

    void take(Descriptor folder, const std::string& file_name) {
        parent = std::move(folder);
        name = file_name;
        file = Descriptor(openat(parent.get(), name.c_str(), kFileFlags));
        if (!file || fstat(file.get(), &info) != 0) fail("cannot open", name);
        if (!S_ISREG(info.st_mode)) refuse(name, "not a plain file");
    }
    void open_below(const std::string& where, std::span<const std::string> roots);
    void lock();
};

JobFile::JobFile(std::unique_ptr<Handle> handle) : handle_(std::move(handle)) {}
JobFile::~JobFile() = default;
JobFile::JobFile(JobFile&&) noexcept = default;
JobFile& JobFile::operator=(JobFile&&) noexcept = default;

// Reached without links from the root that it lies below.
void JobFile::Handle::open_below(const std::string& where, std::span<const std::string> roots) {
    for (const std::string& root : roots) {
        const auto below = part_below(where, root);
        if (!below) continue;
        path = where;
        return take(open_parent(root, *below), below->substr(below->rfind('/') + 1));
    }
    refuse(where, "outside of the folders for jobs");
}

// A lock that is held until the file is closed, as a recording's writer holds it; and a lease, which the system grants
// where nobody has the file open for writing. That one is given back at once: who opens the file while it is held would
// have to wait. Not every file system knows leases.
void JobFile::Handle::lock() {
    if (flock(file.get(), LOCK_EX | LOCK_NB) != 0) refuse(name, "it is in use");
    if (fcntl(file.get(), F_SETLEASE, F_RDLCK) == 0) {
        fcntl(file.get(), F_SETLEASE, F_UNLCK);
    } else if (errno == EAGAIN) {
        refuse(name, "it is in use");
    }
    if (fstat(file.get(), &info) != 0) fail("cannot open", name);
}

JobFile JobFile::open(TextView path, std::span<const std::string> roots, bool) {
    auto handle = std::make_unique<Handle>();
    handle->open_below(native_path_of(path), roots);
    if (handle->info.st_uid != geteuid()) refuse(handle->name, "it is another user's");
    handle->lock();
    if (handle->info.st_nlink != 1) refuse(handle->name, "it has several names");
    JobFile job(std::move(handle));
    job.require_magic();
    return job;
}

std::optional<JobFile> JobFile::open_again(const std::string& path, std::span<const std::string> roots) {
    auto handle = std::make_unique<Handle>();
    try {
        handle->open_below(path, roots);
    } catch (const FileError&) {
        // One that is there and cannot be had now is not a lost one.
        if (faccessat(AT_FDCWD, path.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0) throw;
        return std::nullopt;
    }
    return JobFile(std::move(handle));
}

JobFile JobFile::open(const Folder& folder, const std::string& name) {
    auto handle = std::make_unique<Handle>();
    handle->path = folder.path_of(name);
    handle->take(Descriptor(fcntl(folder.handle_->descriptor.get(), F_DUPFD_CLOEXEC, 0)), name);
    return JobFile(std::move(handle));
}

const std::string& JobFile::path() const { return handle_->path; }
uint64_t JobFile::size() const { return static_cast<uint64_t>(handle_->info.st_size); }
int64_t JobFile::changed() const { return handle_->info.st_mtime; }
int JobFile::descriptor() const { return handle_->file.get(); }

std::string JobFile::identity() const {
    const struct stat& info = handle_->info;
    return std::to_string(info.st_dev) + ':' + std::to_string(info.st_ino) + ':' + std::to_string(info.st_size) + ':' +
           std::to_string(info.st_mtim.tv_sec) + '.' + std::to_string(info.st_mtim.tv_nsec);
}

std::vector<uint8_t> JobFile::read(uint64_t offset, size_t count) const {
    std::vector<uint8_t> bytes(count);
    size_t done = 0;
    while (done < count) {
        const ssize_t got =
            pread(handle_->file.get(), bytes.data() + done, count - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) fail("cannot read", handle_->name);
        if (got == 0) break;
        done += static_cast<size_t>(got);
    }
    bytes.resize(done);
    return bytes;
}

void JobFile::flush() const {
    if (fsync(handle_->file.get()) != 0) fail("cannot flush", handle_->name);
}

Moved JobFile::move_to(const Folder& folder, const std::string& name) const {
    // Some file systems have no modes.
    if (fchmod(handle_->file.get(), 0600) != 0 && errno != EPERM) fail("cannot close to others", handle_->name);
    const std::string self = "/proc/self/fd/" + std::to_string(handle_->file.get());
    if (linkat(AT_FDCWD, self.c_str(), folder.handle_->descriptor.get(), name.c_str(), AT_SYMLINK_FOLLOW) == 0) {
        return Moved::Done;
    }
    if (errno == EEXIST) return Moved::NameTaken;
    // Where the file system has no links, or nothing is mounted at /proc, a copy does as well.
    if (errno == EXDEV || errno == EPERM || errno == EOPNOTSUPP || errno == ENOENT || errno == EMLINK) {
        return Moved::OtherVolume;
    }
    fail("cannot move", handle_->name);
}

void JobFile::copy_to(const Folder& folder, const std::string& name) const {
    folder.remove(name);
    const Descriptor copy(folder.make_file(name));
    constexpr size_t kBlock = 256 << 10;
    uint64_t at = 0;
    for (std::vector<uint8_t> block = read(at, kBlock); !block.empty(); block = read(at, kBlock)) {
        at += block.size();
        for (size_t done = 0; done < block.size();) {
            const ssize_t count = write(copy.get(), block.data() + done, block.size() - done);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) fail("cannot write", folder.path_of(name));
            done += static_cast<size_t>(count);
        }
    }
    if (fsync(copy.get()) != 0) fail("cannot write", folder.path_of(name));
}

bool JobFile::remove_source() const {
    struct stat now = {};
    const int parent = handle_->parent.get();
    const bool same = fstatat(parent, handle_->name.c_str(), &now, AT_SYMLINK_NOFOLLOW) == 0 &&
                      now.st_dev == handle_->info.st_dev && now.st_ino == handle_->info.st_ino;
    return !same || unlinkat(parent, handle_->name.c_str(), 0) == 0;
}

std::optional<FolderLock> FolderLock::take(const Folder& folder) {
    const int file = open(folder.path_of("lock").c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (file < 0) fail("cannot make", folder.path_of("lock"));
    if (flock(file, LOCK_EX | LOCK_NB) == 0) return FolderLock(file);
    close(file);
    return std::nullopt;
}
FolderLock::FolderLock(FolderLock&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}
FolderLock::~FolderLock() {
    if (handle_ >= 0) close(static_cast<int>(handle_));
}

bool is_on_network(const std::string& folder) {
    struct statfs info = {};
    if (statfs(folder.c_str(), &info) != 0) return false;
    // NFS, SMB in its three forms, FUSE, AFS, Ceph, 9P.
    constexpr uint32_t kTypes[] = {0x6969,     0x517B,     0xFF534D42, 0xFE534D42,
                                   0x65735546, 0x5346414F, 0x00C36400, 0x01021997};
    return std::ranges::find(kTypes, static_cast<uint32_t>(info.f_type)) != std::end(kTypes);
}

}  // namespace kvdisp12
