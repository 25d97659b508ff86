// Files and folders over the host's file system. A drive letter is a folder of the host: C: a private one,
// Z: the root. Names are looked up without regard to case.

#include "platform/host/win32/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <stdexcept>

#include "platform/host/leftovers.h"
#include "platform/host/state.h"
#include "platform/host/win32/system.h"

namespace fs = std::filesystem;

namespace kv::host {
namespace {

void make_system_folders(const std::string& root) {
    for (const char* folder : {"Windows/Temp", "Windows/Fonts", "Users/user/AppData/LocalLow"}) {
        std::error_code ignored;
        fs::create_directories(fs::path(root) / folder, ignored);
    }
}

std::string temporary_folder() {
    std::error_code error;
    const fs::path folder = fs::temp_directory_path(error);
    if (!error) return folder.string();
    const char* named = std::getenv("TMPDIR");
    throw std::runtime_error(std::string("no folder for temporary files: ") +
                             (named ? "TMPDIR is " + std::string(named) : "/tmp") + ", " + error.message());
}

// The private drive: made on first use, removed when the process that made it ends.
class PrivateDrive {
public:
    PrivateDrive() {
        constexpr const char* kPrefix = "karvo-drive-";
        const std::string parent = temporary_folder();
        clear_leftovers(parent, kPrefix);
        root_ = make_own_folder(parent, kPrefix);
        if (!root_.empty()) make_system_folders(root_);
        owner_ = getpid();
    }
    ~PrivateDrive() {
        std::error_code ignored;
        if (owner_ == getpid() && !root_.empty()) fs::remove_all(root_, ignored);
    }
    const std::string& root() const { return root_; }

private:
    std::string root_;
    pid_t owner_;
};

struct Files {
    std::string drive_root;
    std::map<std::u16string, std::string> mapped;  // by path in lower case
    std::vector<std::u16string> deleted_at_restart;
};
Files& files() {
    static Files state;
    return state;
}

const std::string& drive_root() {
    if (!files().drive_root.empty()) return files().drive_root;
    static const std::string inherited = environment(kDriveVariable);
    if (!inherited.empty()) return inherited;
    static PrivateDrive drive;
    return drive.root();
}

struct OpenFile : Object {
    int descriptor = -1;
    ~OpenFile() override {
        close(descriptor);
        --counters().files;
    }
};

DWORD error_of(int number) {
    switch (number) {
        case ENOENT:
            return ERROR_FILE_NOT_FOUND;
        case ENOTDIR:
            return ERROR_PATH_NOT_FOUND;
        case EEXIST:
            return ERROR_ALREADY_EXISTS;
        case EMFILE:
        case ENFILE:
            return ERROR_TOO_MANY_OPEN_FILES;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return ERROR_DISK_FULL;
        case ENOTEMPTY:
            return ERROR_DIR_NOT_EMPTY;
        case ENAMETOOLONG:
            return ERROR_INVALID_NAME;
        default:
            return ERROR_ACCESS_DENIED;
    }
}

// The entry of a folder whose name differs in case only, or the name itself.
std::string matching_entry(const std::string& folder, const std::string& name) {
    struct stat info;
    if (lstat((folder + '/' + name).c_str(), &info) == 0) return name;
    std::u16string wanted = lower_case(from_utf8(name));
    std::string match = name;
    if (DIR* listing = opendir(folder.c_str())) {
        while (const dirent* entry = readdir(listing)) {
            if (lower_case(from_utf8(entry->d_name)) == wanted) match = entry->d_name;
        }
        closedir(listing);
    }
    return match;
}

bool is_folder(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// A missing file in a missing folder is a path that is not found.
DWORD not_found_error(const std::string& path) {
    return is_folder(fs::path(path).parent_path().string()) ? DWORD{ERROR_FILE_NOT_FOUND} : DWORD{ERROR_PATH_NOT_FOUND};
}

DWORD error_for(const std::string& path) { return errno == ENOENT ? not_found_error(path) : error_of(errno); }

bool read_only(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && !(info.st_mode & S_IWUSR);
}

int open_flags(DWORD access, DWORD disposition) {
    int flags = O_CLOEXEC | (access & GENERIC_WRITE ? (access & GENERIC_READ ? O_RDWR : O_WRONLY) : O_RDONLY);
    switch (disposition) {
        case CREATE_NEW:
            return flags | O_CREAT | O_EXCL;
        case CREATE_ALWAYS:
        case OPEN_ALWAYS:
            return flags | O_CREAT;
        default:
            return flags;
    }
}

LPWSTR put(const std::u16string& text, LPWSTR target) {
    std::copy(text.begin(), text.end(), target);
    target[text.size()] = 0;
    return target;
}

}  // namespace

void set_drive_root(const std::string& host_folder) { files().drive_root = host_folder; }
const std::vector<std::u16string>& files_deleted_at_restart() { return files().deleted_at_restart; }
void reset_files() { files() = Files{}; }
void map_file(const std::u16string& path, const std::string& host_file) {
    files().mapped[lower_case(path)] = host_file;
}

std::string user_data_folder() {
    std::string base = environment("XDG_DATA_HOME");
    if (base.empty()) {
        const passwd* user = getpwuid(getuid());
        const std::string home = environment("HOME");
        base = (!home.empty() ? home : user ? user->pw_dir : "/tmp") + "/.local/share";
    }
    std::error_code ignored;
    fs::create_directories(base, ignored);
    mkdir((base + "/karvo").c_str(), 0700);
    return base + "/karvo";
}

void use_user_drive() {
    set_drive_root(user_data_folder() + "/drive");
    make_system_folders(drive_root());
}

std::u16string win32_path(const std::string& path) {
    std::u16string text = u"Z:" + from_utf8(path);
    std::replace(text.begin(), text.end(), u'/', u'\\');
    return text;
}

std::string host_path(const std::u16string& text) {
    const auto& mapped = files().mapped;
    if (auto found = mapped.empty() ? mapped.end() : mapped.find(lower_case(text)); found != mapped.end()) {
        return found->second;
    }
    bool z_drive = text.size() >= 2 && (text[0] == 'Z' || text[0] == 'z') && text[1] == ':';
    std::string path = z_drive ? "" : drive_root();
    std::u16string rest = text.size() >= 2 && text[1] == ':' ? text.substr(2) : text;
    size_t start = 0;
    while (start < rest.size()) {
        size_t end = rest.find_first_of(u"\\/", start);
        if (end == std::u16string::npos) end = rest.size();
        std::string part = to_utf8(rest.substr(start, end - start));
        if (!part.empty() && part != ".") path += '/' + (part == ".." ? part : matching_entry(path + "/", part));
        start = end + 1;
    }
    return path.empty() ? "/" : path;
}

}  // namespace kv::host

using namespace kv::host;

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES*, DWORD disposition, DWORD, HANDLE) {
    if (path && is_pipe_name(path)) return open_pipe(path);
    if (should_fail(CallKind::File, "CreateFileW")) return fail_with(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
    if (!path || !*path) return fail_with(ERROR_PATH_NOT_FOUND, INVALID_HANDLE_VALUE);
    std::string host = host_path(path);
    if (is_folder(host) || ((access & GENERIC_WRITE) && read_only(host))) {
        return fail_with(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
    }
    bool existed = ::access(host.c_str(), F_OK) == 0;
    int descriptor = open(host.c_str(), open_flags(access, disposition), 0644);
    if (descriptor < 0) {
        DWORD error = errno == EEXIST ? DWORD{ERROR_FILE_EXISTS} : error_for(host);
        return fail_with(error, INVALID_HANDLE_VALUE);
    }
    // Sharing between handles: a lock held by the open file. A writer that shares no writing locks out
    // other writers; readers that share writing take none.
    bool writes = (access & GENERIC_WRITE) != 0;
    if (writes && !(share & FILE_SHARE_WRITE) && flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        close(descriptor);
        return fail_with(ERROR_SHARING_VIOLATION, INVALID_HANDLE_VALUE);
    }
    if (disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING) {
        if (ftruncate(descriptor, 0) != 0) {
            close(descriptor);
            return fail_with(ERROR_ACCESS_DENIED, INVALID_HANDLE_VALUE);
        }
    }
    auto file = std::make_unique<OpenFile>();
    file->descriptor = descriptor;
    ++counters().files;
    SetLastError(existed && (disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS) ? DWORD{ERROR_ALREADY_EXISTS}
                                                                                         : DWORD{ERROR_SUCCESS});
    return make_handle(std::move(file));
}

BOOL ReadFile(HANDLE handle, LPVOID buffer, DWORD bytes, LPDWORD read_bytes, void*) {
    if (read_bytes) *read_bytes = 0;
    if (Channel* channel = object_of<Channel>(handle)) return channel->read(buffer, bytes, read_bytes);
    if (should_fail(CallKind::File, "ReadFile")) return fail_with(ERROR_READ_FAULT);
    OpenFile* file = object_of<OpenFile>(handle);
    if (!file) return fail_with(ERROR_INVALID_HANDLE);
    ssize_t count = read(file->descriptor, buffer, bytes);
    if (count < 0) return fail_with(error_of(errno));
    if (read_bytes) *read_bytes = static_cast<DWORD>(count);
    return TRUE;
}

BOOL WriteFile(HANDLE handle, LPCVOID buffer, DWORD bytes, LPDWORD written, void*) {
    if (written) *written = 0;
    if (Channel* channel = object_of<Channel>(handle)) {
        const BOOL sent = channel->write(buffer, bytes);
        if (sent && written) *written = bytes;
        return sent;
    }
    if (should_fail(CallKind::File, "WriteFile")) return fail_with(ERROR_DISK_FULL);
    OpenFile* file = object_of<OpenFile>(handle);
    if (!file) return fail_with(ERROR_INVALID_HANDLE);
    const char* data = static_cast<const char*>(buffer);
    for (DWORD done = 0; done < bytes;) {
        ssize_t count = write(file->descriptor, data + done, bytes - done);
        if (count < 0) return fail_with(error_of(errno));
        done += static_cast<DWORD>(count);
        if (written) *written = done;
    }
    return TRUE;
}

DWORD SetFilePointer(HANDLE handle, LONG distance, LONG* distance_high, DWORD method) {
    if (should_fail(CallKind::File, "SetFilePointer"))
        return fail_with(ERROR_INVALID_PARAMETER, DWORD{INVALID_SET_FILE_POINTER});
    OpenFile* file = object_of<OpenFile>(handle);
    if (!file) return fail_with(ERROR_INVALID_HANDLE, DWORD{INVALID_SET_FILE_POINTER});
    // Without the high half the distance is signed, except from the file's start, where it is an offset.
    int64_t offset =
        distance_high ? (int64_t{*distance_high} << 32) + static_cast<uint32_t>(distance) : int64_t{distance};
    off_t at = lseek(file->descriptor, offset, static_cast<int>(method));
    if (at < 0) return fail_with(ERROR_NEGATIVE_SEEK, DWORD{INVALID_SET_FILE_POINTER});
    if (distance_high) *distance_high = static_cast<LONG>(at >> 32);
    return static_cast<DWORD>(at);
}

BOOL SetEndOfFile(HANDLE handle) {
    if (should_fail(CallKind::File, "SetEndOfFile")) return fail_with(ERROR_DISK_FULL);
    OpenFile* file = object_of<OpenFile>(handle);
    if (!file) return fail_with(ERROR_INVALID_HANDLE);
    off_t at = lseek(file->descriptor, 0, SEEK_CUR);
    return ftruncate(file->descriptor, at) == 0 ? TRUE : fail_with(error_of(errno));
}

DWORD GetFileSize(HANDLE handle, LPDWORD size_high) {
    if (should_fail(CallKind::File, "GetFileSize")) return fail_with(ERROR_INVALID_HANDLE, DWORD{INVALID_FILE_SIZE});
    OpenFile* file = object_of<OpenFile>(handle);
    struct stat info;
    if (!file || fstat(file->descriptor, &info) != 0) return fail_with(ERROR_INVALID_HANDLE, DWORD{INVALID_FILE_SIZE});
    if (size_high) *size_high = static_cast<DWORD>(info.st_size >> 32);
    return static_cast<DWORD>(info.st_size);
}

BOOL FlushFileBuffers(HANDLE handle) {
    OpenFile* file = object_of<OpenFile>(handle);
    return file && fsync(file->descriptor) == 0 ? TRUE : fail_with(ERROR_INVALID_HANDLE);
}

BOOL DeleteFileW(LPCWSTR path) {
    if (should_fail(CallKind::File, "DeleteFileW")) return fail_with(ERROR_ACCESS_DENIED);
    std::string host = host_path(path);
    if (is_folder(host) || read_only(host)) return fail_with(ERROR_ACCESS_DENIED);
    return unlink(host.c_str()) == 0 ? TRUE : fail_with(error_for(host));
}

BOOL MoveFileW(LPCWSTR from, LPCWSTR to) { return MoveFileExW(from, to, MOVEFILE_COPY_ALLOWED); }

BOOL MoveFileExW(LPCWSTR from, LPCWSTR to, DWORD flags) {
    if (should_fail(CallKind::File, "MoveFileExW")) return fail_with(ERROR_ACCESS_DENIED);
    if (flags & MOVEFILE_DELAY_UNTIL_REBOOT) {
        if (!to) files().deleted_at_restart.emplace_back(from);
        return TRUE;
    }
    std::string source = host_path(from), target = host_path(to);
    const bool replace = flags & MOVEFILE_REPLACE_EXISTING;
    if (renameat2(AT_FDCWD, source.c_str(), AT_FDCWD, target.c_str(), replace ? 0 : RENAME_NOREPLACE) == 0) return TRUE;
    if (errno != EXDEV || !(flags & MOVEFILE_COPY_ALLOWED)) return fail_with(error_for(source));
    std::error_code failed;
    const auto options = replace ? fs::copy_options::overwrite_existing : fs::copy_options::none;
    if (!fs::copy_file(source, target, options, failed)) {
        if (failed == std::errc::file_exists) return fail_with(ERROR_ALREADY_EXISTS);
        unlink(target.c_str());
        return fail_with(failed == std::errc::no_space_on_device ? ERROR_DISK_FULL : ERROR_ACCESS_DENIED);
    }
    fs::remove(source, failed);
    return TRUE;
}

BOOL CopyFileW(LPCWSTR from, LPCWSTR to, BOOL fail_if_exists) {
    if (should_fail(CallKind::File, "CopyFileW")) return fail_with(ERROR_ACCESS_DENIED);
    std::error_code failed;
    auto options = fail_if_exists ? fs::copy_options::none : fs::copy_options::overwrite_existing;
    std::string source = host_path(from);
    fs::copy_file(source, host_path(to), options, failed);
    if (!failed) copy_module(from, to);
    if (!failed) return TRUE;
    return fail_with(access(source.c_str(), F_OK) != 0
                         ? not_found_error(source)
                         : (fail_if_exists ? DWORD{ERROR_FILE_EXISTS} : DWORD{ERROR_ACCESS_DENIED}));
}

DWORD GetFileAttributesW(LPCWSTR path) {
    std::string host = host_path(path);
    struct stat info;
    if (stat(host.c_str(), &info) != 0) return fail_with(error_for(host), DWORD{INVALID_FILE_ATTRIBUTES});
    DWORD attributes = S_ISDIR(info.st_mode) ? DWORD{FILE_ATTRIBUTE_DIRECTORY} : 0;
    if (!(info.st_mode & S_IWUSR)) attributes |= FILE_ATTRIBUTE_READONLY;
    return attributes ? attributes : DWORD{FILE_ATTRIBUTE_NORMAL};
}

BOOL SetFileAttributesW(LPCWSTR path, DWORD attributes) {
    if (should_fail(CallKind::File, "SetFileAttributesW")) return fail_with(ERROR_ACCESS_DENIED);
    std::string host = host_path(path);
    struct stat info;
    if (stat(host.c_str(), &info) != 0) return fail_with(error_for(host));
    mode_t writable = S_IWUSR;
    mode_t mode = attributes & FILE_ATTRIBUTE_READONLY ? info.st_mode & ~writable : info.st_mode | writable;
    return chmod(host.c_str(), mode & 07777) == 0 ? TRUE : fail_with(error_of(errno));
}

BOOL CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES*) {
    if (should_fail(CallKind::File, "CreateDirectoryW")) return fail_with(ERROR_ACCESS_DENIED);
    std::string host = host_path(path);
    if (mkdir(host.c_str(), 0755) == 0) return TRUE;
    return fail_with(errno == ENOENT ? DWORD{ERROR_PATH_NOT_FOUND} : error_of(errno));
}

DWORD GetTempPathW(DWORD capacity, LPWSTR path) {
    if (should_fail(CallKind::File, "GetTempPathW")) return fail_with(ERROR_PATH_NOT_FOUND, DWORD{0});
    const std::u16string& folder = machine().temp_folder;
    if (capacity <= folder.size()) return static_cast<DWORD>(folder.size() + 1);
    put(folder, path);
    return static_cast<DWORD>(folder.size());
}

UINT GetTempFileNameW(LPCWSTR folder, LPCWSTR prefix, UINT unique, LPWSTR path) {
    if (should_fail(CallKind::File, "GetTempFileNameW")) return fail_with(ERROR_ACCESS_DENIED, UINT{0});
    std::u16string base = folder;
    if (!base.empty() && base.back() != '\\') base += '\\';
    base += std::u16string(prefix).substr(0, 3);
    static std::atomic<UINT> counter{0};
    for (UINT attempt = 0; attempt < 0x10000; ++attempt) {
        UINT number = unique ? unique : ((static_cast<UINT>(getpid()) << 4) + ++counter) & 0xFFFF;
        if (number == 0) continue;
        char digits[16];
        snprintf(digits, sizeof digits, "%X", number);
        std::u16string name = base + from_utf8(digits) + u".tmp";
        if (name.size() >= MAX_PATH) return fail_with(ERROR_INVALID_NAME, UINT{0});
        if (!unique) {
            std::string host = host_path(name);
            int descriptor = open(host.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0644);
            if (descriptor < 0 && errno == EEXIST) continue;
            if (descriptor < 0) return fail_with(error_for(host), UINT{0});
            close(descriptor);
        }
        put(name, path);
        return number;
    }
    return fail_with(ERROR_FILE_EXISTS, UINT{0});
}

DWORD GetLongPathNameW(LPCWSTR short_path, LPWSTR long_path, DWORD capacity) {
    if (should_fail(CallKind::File, "GetLongPathNameW")) return fail_with(ERROR_FILE_NOT_FOUND, DWORD{0});
    std::u16string path = short_path;
    if (!is_folder(host_path(path)) && access(host_path(path).c_str(), F_OK) != 0) {
        return fail_with(ERROR_FILE_NOT_FOUND, DWORD{0});
    }
    if (capacity <= path.size()) return static_cast<DWORD>(path.size() + 1);
    put(path, long_path);
    return static_cast<DWORD>(path.size());
}

HRESULT SHGetFolderPathW(HWND, int folder, HANDLE, DWORD, LPWSTR path) {
    constexpr HRESULT kFailed = static_cast<HRESULT>(0x80004005);
    if (folder != CSIDL_FONTS || should_fail(CallKind::File, "SHGetFolderPathW")) return kFailed;
    put(u"C:\\Windows\\Fonts", path);
    return 0;
}

void CoTaskMemFree(LPVOID block) { LocalFree(block); }
