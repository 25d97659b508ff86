#include "dispatcher/files.h"

#include <algorithm>
#include <cstring>
#include <filesystem>

#include "dispatcher/machine.h"
#include "dispatcher/native_path.h"
#include "dispatcher/safe_text.h"
#include "dispatcher/windows/handles.h"

namespace kvdisp12 {
namespace {

[[noreturn]] void fail(const std::string& what, const std::string& name) {
    const DWORD error = GetLastError();
    throw FileError(what + ' ' + in_quotes(name) + ": " + system_text(error));
}
[[noreturn]] void refuse(const std::string& name, const std::string& why) {
    throw FileError(in_quotes(name) + ": " + why);
}

bool is_missing(DWORD error) { return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND; }

// Above the target's kernel: files that are fetched from elsewhere when they are opened or read.
constexpr DWORD kRecallOnOpen = 0x00040000, kRecallOnDataAccess = 0x00400000;
constexpr DWORD kNotPlain = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_OFFLINE |
                            FILE_ATTRIBUTE_DEVICE | kRecallOnOpen | kRecallOnDataAccess;

// Without following a link at the path's end, and without lending our rights to a pipe's server that it may mean.
Handle open_path(const Text& path, DWORD access, DWORD share, DWORD flags) {
    return Handle(CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING,
                              flags | FILE_FLAG_OPEN_REPARSE_POINT | SECURITY_SQOS_PRESENT | SECURITY_ANONYMOUS,
                              nullptr));
}

// With no link in it, as the system writes it.
Text final_path(HANDLE file) {
    Text path(GetFinalPathNameByHandleW(file, nullptr, 0, FILE_NAME_NORMALIZED | VOLUME_NAME_DOS), 0);
    if (path.empty()) return path;
    path.resize(GetFinalPathNameByHandleW(file, path.data(), static_cast<DWORD>(path.size()),
                                          FILE_NAME_NORMALIZED | VOLUME_NAME_DOS));
    return path;
}

bool same_text(TextView one, TextView other) {
    return CompareStringOrdinal(one.data(), static_cast<int>(one.size()), other.data(), static_cast<int>(other.size()),
                                TRUE) == CSTR_EQUAL;
}

bool lies_below(const Text& path, const std::string& root) {
    constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    // The root itself may be a link: who set it up chose it.
    const Handle folder(CreateFileW(long_path(root).c_str(), 0, kShareAll, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!folder) return false;
    Text start = final_path(folder.get());
    if (start.empty()) return false;
    if (start.back() != '\\') start += TEXT('\\');
    return path.size() > start.size() && same_text(TextView(path).substr(0, start.size()), start);
}

// Ours; the system's as well for its own clients.
bool is_owner_allowed(HANDLE file, bool system_client) {
    DWORD size = 0;
    GetKernelObjectSecurity(file, OWNER_SECURITY_INFORMATION, nullptr, 0, &size);
    std::vector<BYTE> descriptor(size);
    PSID owner = nullptr;
    BOOL ignored = FALSE;
    if (size == 0 || !GetKernelObjectSecurity(file, OWNER_SECURITY_INFORMATION, descriptor.data(), size, &size) ||
        !GetSecurityDescriptorOwner(descriptor.data(), &owner, &ignored)) {
        return false;
    }
    const Handle token = own_token();
    if (same(user_of(token.get()), owner) || same(owner_of(token.get()), owner)) return true;
    return system_client &&
           (same(well_known(WinLocalSystemSid), owner) || same(well_known(WinBuiltinAdministratorsSid), owner));
}

void make_folders(const std::string& path) {
    const std::filesystem::path parent = native_path(path).parent_path();
    std::error_code error;
    if (!parent.empty() && !std::filesystem::is_directory(parent, error) && parent != native_path(path)) {
        make_folders(utf8_path(parent));
    }
    if (!CreateDirectoryW(long_path(path).c_str(), own_folder_security()) && GetLastError() != ERROR_ALREADY_EXISTS) {
        fail("cannot make the folder", path);
    }
}

template <class Information>
bool set_information(HANDLE file, FILE_INFO_BY_HANDLE_CLASS what, Information& information, size_t size) {
    return SetFileInformationByHandle(file, what, &information, static_cast<DWORD>(size));
}

}  // namespace

// As long as it is open, nobody can put another folder in its place.
struct Folder::Handle {
    kvdisp12::Handle folder;
};

Folder::Folder(const std::string& path, Owner owner) : path_(path), handle_(std::make_unique<Handle>()) {
    make_folders(path);
    const DWORD links = owner == Owner::Ours ? DWORD{FILE_FLAG_OPEN_REPARSE_POINT} : 0;
    handle_->folder = kvdisp12::Handle(CreateFileW(long_path(path).c_str(), FILE_LIST_DIRECTORY | READ_CONTROL,
                                                   FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                                   FILE_FLAG_BACKUP_SEMANTICS | links, nullptr));
    BY_HANDLE_FILE_INFORMATION info = {};
    if (!handle_->folder || !GetFileInformationByHandle(handle_->folder.get(), &info)) {
        fail("cannot open the folder", path);
    }
    if (!(info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) refuse(path, "it is no folder");
    if (owner == Owner::Anyone) return;
    if (info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) refuse(path, "the folder is a link");
    if (!is_owner_allowed(handle_->folder.get(), true)) refuse(path, "the folder is another user's");
}

Folder::~Folder() = default;

std::string Folder::path_of(const std::string& name) const { return path_ + '\\' + name; }

std::vector<std::string> Folder::names() const {
    std::vector<std::string> names;
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW(long_path(path_of("*")).c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) {
        if (GetLastError() == ERROR_FILE_NOT_FOUND) return names;
        fail("cannot list", path_);
    }
    do {
        const std::string name = to_utf8(entry.cFileName);
        if (name != "." && name != "..") names.push_back(name);
    } while (FindNextFileW(search, &entry));
    FindClose(search);
    return names;
}

bool Folder::has(const std::string& name) const {
    return GetFileAttributesW(long_path(path_of(name)).c_str()) != INVALID_FILE_ATTRIBUTES;
}

Moved Folder::move(const std::string& name, const Folder& to, const std::string& new_name) const {
    const Text from = long_path(path_of(name)), target = long_path(to.path_of(new_name));
    if (MoveFileExW(from.c_str(), target.c_str(), MOVEFILE_WRITE_THROUGH)) return Moved::Done;
    const DWORD error = GetLastError();
    if (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS) return Moved::NameTaken;
    if (error == ERROR_NOT_SAME_DEVICE) return Moved::OtherVolume;
    fail("cannot move", path_of(name));
}

void Folder::remove(const std::string& name) const {
    if (!DeleteFileW(long_path(path_of(name)).c_str()) && !is_missing(GetLastError())) {
        fail("cannot remove", path_of(name));
    }
}

// The system writes down what it does to folders, and files are moved with MOVEFILE_WRITE_THROUGH.
void Folder::flush() const {}

uint64_t Folder::free_space() const {
    ULARGE_INTEGER free = {};
    if (!GetDiskFreeSpaceExW(long_path(path_ + '\\').c_str(), &free, nullptr, nullptr)) fail("cannot look at", path_);
    return free.QuadPart;
}

struct JobFile::Handle {
    kvdisp12::Handle file;
    std::string path;
    BY_HANDLE_FILE_INFORMATION info = {};
    bool moved = false;  // by its handle: the old name is gone

    // access: beside reading.
    void open(const std::string& where, DWORD access, DWORD share) {
        path = where;
        file = open_path(long_path(where), GENERIC_READ | READ_CONTROL | access, share, 0);
        if (!file) fail("cannot open", where);
        if (GetFileType(file.get()) != FILE_TYPE_DISK || !GetFileInformationByHandle(file.get(), &info) ||
            (info.dwFileAttributes & kNotPlain) != 0) {
            refuse(where, "not a plain file");
        }
    }
    void require_below(std::span<const std::string> roots) const {
        const Text real = final_path(file.get());
        const bool inside = std::ranges::any_of(roots, [&](const std::string& root) { return lies_below(real, root); });
        if (!inside) refuse(path, "outside of the folders for jobs");
    }
};

JobFile::JobFile(std::unique_ptr<Handle> handle) : handle_(std::move(handle)) {}
JobFile::~JobFile() = default;
JobFile::JobFile(JobFile&&) noexcept = default;
JobFile& JobFile::operator=(JobFile&&) noexcept = default;

JobFile JobFile::open(TextView path, std::span<const std::string> roots, bool system_client) {
    auto handle = std::make_unique<Handle>();
    // Who has it open for writing does not let it be shared like this.
    handle->open(native_path_of(path), GENERIC_WRITE | DELETE, FILE_SHARE_READ);
    handle->require_below(roots);
    if (!is_owner_allowed(handle->file.get(), system_client)) refuse(handle->path, "it is another user's");
    if (handle->info.nNumberOfLinks != 1) refuse(handle->path, "it has several names");
    JobFile job(std::move(handle));
    job.require_magic();
    return job;
}

std::optional<JobFile> JobFile::open_again(const std::string& path, std::span<const std::string> roots) {
    auto handle = std::make_unique<Handle>();
    try {
        handle->open(path, GENERIC_WRITE | DELETE, FILE_SHARE_READ);
        handle->require_below(roots);
    } catch (const FileError&) {
        // One that is there and cannot be had now is not a lost one.
        if (GetFileAttributesW(long_path(path).c_str()) != INVALID_FILE_ATTRIBUTES) throw;
        return std::nullopt;
    }
    return JobFile(std::move(handle));
}

JobFile JobFile::open(const Folder& folder, const std::string& name) {
    auto handle = std::make_unique<Handle>();
    handle->open(folder.path_of(name), 0, FILE_SHARE_READ | FILE_SHARE_DELETE);
    return JobFile(std::move(handle));
}

const std::string& JobFile::path() const { return handle_->path; }

uint64_t JobFile::size() const { return uint64_t{handle_->info.nFileSizeHigh} << 32 | handle_->info.nFileSizeLow; }

int64_t JobFile::changed() const {
    constexpr int64_t kTicks = 10'000'000, kSecondsTo1970 = 11'644'473'600;  // of 100 ns, since 1601
    const FILETIME& time = handle_->info.ftLastWriteTime;
    return static_cast<int64_t>(uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime) / kTicks - kSecondsTo1970;
}

std::string JobFile::identity() const {
    const BY_HANDLE_FILE_INFORMATION& info = handle_->info;
    std::string text;
    for (const DWORD part :
         {info.dwVolumeSerialNumber, info.nFileIndexHigh, info.nFileIndexLow, info.nFileSizeHigh, info.nFileSizeLow,
          info.ftLastWriteTime.dwHighDateTime, info.ftLastWriteTime.dwLowDateTime}) {
        text += (text.empty() ? "" : ":") + std::to_string(part);
    }
    return text;
}

std::vector<uint8_t> JobFile::read(uint64_t offset, size_t count) const {
    std::vector<uint8_t> bytes(count);
    size_t done = 0;
    while (done < count) {
        OVERLAPPED at = {};
        at.Offset = static_cast<DWORD>(offset + done);
        at.OffsetHigh = static_cast<DWORD>((offset + done) >> 32);
        DWORD got = 0;
        if (!ReadFile(handle_->file.get(), bytes.data() + done, static_cast<DWORD>(count - done), &got, &at)) {
            if (GetLastError() == ERROR_HANDLE_EOF) break;
            fail("cannot read", handle_->path);
        }
        if (got == 0) break;
        done += got;
    }
    bytes.resize(done);
    return bytes;
}

void JobFile::flush() const {
    if (!FlushFileBuffers(handle_->file.get())) fail("cannot flush", handle_->path);
}

Moved JobFile::move_to(const Folder& folder, const std::string& name) const {
    const Text target = long_path(folder.path_of(name));
    std::vector<BYTE> bytes(sizeof(FILE_RENAME_INFO) + target.size() * sizeof(WCHAR));
    auto& rename = *reinterpret_cast<FILE_RENAME_INFO*>(bytes.data());
    rename.ReplaceIfExists = FALSE;
    rename.RootDirectory = nullptr;
    rename.FileNameLength = static_cast<DWORD>(target.size() * sizeof(WCHAR));
    std::memcpy(rename.FileName, target.c_str(), rename.FileNameLength + sizeof(WCHAR));
    if (set_information(handle_->file.get(), FileRenameInfo, rename, bytes.size())) {
        handle_->moved = true;
        return Moved::Done;
    }
    const DWORD error = GetLastError();
    if (error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS) return Moved::NameTaken;
    if (error == ERROR_NOT_SAME_DEVICE) return Moved::OtherVolume;
    fail("cannot move", handle_->path);
}

void JobFile::copy_to(const Folder& folder, const std::string& name) const {
    constexpr size_t kBlock = 256 << 10;
    folder.remove(name);
    const kvdisp12::Handle copy(CreateFileW(long_path(folder.path_of(name)).c_str(), GENERIC_WRITE, 0, nullptr,
                                            CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!copy) fail("cannot make", folder.path_of(name));
    uint64_t at = 0;
    for (std::vector<uint8_t> block = read(at, kBlock); !block.empty(); block = read(at, kBlock)) {
        at += block.size();
        DWORD written = 0;
        if (!WriteFile(copy.get(), block.data(), static_cast<DWORD>(block.size()), &written, nullptr)) {
            fail("cannot write", folder.path_of(name));
        }
    }
    if (!FlushFileBuffers(copy.get())) fail("cannot write", folder.path_of(name));
}

bool JobFile::remove_source() const {
    if (handle_->moved) return true;
    FILE_DISPOSITION_INFO gone = {TRUE};
    return set_information(handle_->file.get(), FileDispositionInfo, gone, sizeof gone);
}

std::optional<FolderLock> FolderLock::take(const Folder& folder) {
    const HANDLE file = CreateFileW(long_path(folder.path_of("lock")).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                    OPEN_ALWAYS, FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    if (file != INVALID_HANDLE_VALUE) return FolderLock(reinterpret_cast<intptr_t>(file));
    if (GetLastError() != ERROR_SHARING_VIOLATION) fail("cannot make", folder.path_of("lock"));
    return std::nullopt;
}
FolderLock::FolderLock(FolderLock&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}
FolderLock::~FolderLock() {
    if (handle_ != -1) CloseHandle(reinterpret_cast<HANDLE>(handle_));
}

bool is_on_network(const std::string& folder) {
    WCHAR root[MAX_PATH + 1] = {};
    return GetVolumePathNameW(from_utf8(folder).c_str(), root, MAX_PATH) && GetDriveTypeW(root) == DRIVE_REMOTE;
}

}  // namespace kvdisp12
