#pragma once
// Folders of the dispatcher's own, and job files of clients: opened once, checked and moved by the handle, so that
// nothing can be exchanged between a check and what follows. Names are UTF-8, without a folder. One file implements
// this for each system.

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "dispatcher/text.h"

namespace kvdisp12 {

struct FileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class Moved { Done, NameTaken, OtherVolume };

// Opened for a moment: who needs a folder later opens it again, for it may have been made anew meanwhile.
class Folder {
public:
    enum class Owner { Ours, Anyone };

    // Made when it is missing, with those above it, for this user alone. Ours: refused where it is another user's, and
    // closed to others where it is not. Throws FileError.
    Folder(const std::string& path, Owner owner);
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::string& path() const { return path_; }
    std::string path_of(const std::string& name) const;
    // Of all entries but "." and "..".
    std::vector<std::string> names() const;
    bool has(const std::string& name) const;
    // All throw FileError. Files that are moved replace nothing.
    Moved move(const std::string& name, const Folder& to, const std::string& new_name) const;
    void remove(const std::string& name) const;
    // A new file of this user alone, open for reading and writing: its descriptor, the caller's to close. On the host
    // alone.
    int make_file(const std::string& name) const;
    // What has been moved here and away outlasts a loss of power.
    void flush() const;
    // Bytes that this user may still write.
    uint64_t free_space() const;

private:
    friend class JobFile;
    struct Handle;

    std::string path_;
    std::unique_ptr<Handle> handle_;
};

class JobFile {
public:
    // Of a client. It must lie in one of the roots or below, reached without links, and be a plain file of this user
    // (or of the system, for a client of the system) with one name, no writer and a job's first bytes. Until it is
    // closed nobody else can open it as such. Throws FileError.
    static JobFile open(TextView path, std::span<const std::string> roots, bool system_client);
    // The same while it may have more names and be in use; nothing where there is none.
    static std::optional<JobFile> open_again(const std::string& path, std::span<const std::string> roots);
    // In a folder of our own.
    static JobFile open(const Folder& folder, const std::string& name);
    ~JobFile();
    JobFile(JobFile&&) noexcept;
    JobFile& operator=(JobFile&&) noexcept;

    // As the system has it.
    const std::string& path() const;
    uint64_t size() const;
    // Seconds since 1970.
    int64_t changed() const;
    // What no other file of this machine has as long as this one is there and is not written to.
    std::string identity() const;
    // Its descriptor, to be handed to a child. On the host alone.
    int descriptor() const;
    // The bytes at an offset, or fewer at the file's end.
    std::vector<uint8_t> read(uint64_t offset, size_t count) const;

    // What it holds outlasts a loss of power.
    void flush() const;
    // Gives this very file a name in the folder. What it was called before is left to remove_source().
    Moved move_to(const Folder& folder, const std::string& name) const;
    // Writes a copy that outlasts a loss of power, in place of one that is there.
    void copy_to(const Folder& folder, const std::string& name) const;
    // Removes the name that it was opened by, if that still means this file. False where it cannot be removed.
    bool remove_source() const;

private:
    struct Handle;
    explicit JobFile(std::unique_ptr<Handle> handle);
    // Throws FileError for what does not begin as a job.
    void require_magic() const;
    std::unique_ptr<Handle> handle_;
};

// Held by one process at a time.
class FolderLock {
public:
    // Nothing where another process holds it.
    static std::optional<FolderLock> take(const Folder& folder);
    FolderLock(FolderLock&& other) noexcept;
    FolderLock& operator=(FolderLock&&) = delete;
    ~FolderLock();

private:
    explicit FolderLock(intptr_t handle) : handle_(handle) {}
    intptr_t handle_;
};

// Whether locks and memory that processes share cannot be relied on there.
bool is_on_network(const std::string& folder);

}  // namespace kvdisp12
