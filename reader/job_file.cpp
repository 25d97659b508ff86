#include "reader/job_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "reader/records.h"

namespace kvjob {
namespace {

constexpr off_t kMostRead = 64 << 20;

[[noreturn]] void fail(int error) {
    throw std::runtime_error(std::string("cannot read the file: ") + std::strerror(error));
}

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

class Descriptor {
public:
    explicit Descriptor(int number) : number_(number) {
        if (number < 0) fail(errno);
    }
    ~Descriptor() { close(number_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return number_; }

private:
    int number_;
};

Bytes map(int descriptor, off_t length) {
    const auto size = static_cast<size_t>(length);
    if (size == 0) return {};
    void* start = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (start == MAP_FAILED) fail(errno);
    return {static_cast<const uint8_t*>(start), size};
}

// As much as there is, up to the buffer's size.
Bytes read_piece(int descriptor, std::span<uint8_t> buffer) {
    size_t filled = 0;
    while (filled < buffer.size()) {
        const ssize_t count = read(descriptor, buffer.data() + filled, buffer.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(errno);
        if (count == 0) break;
        filled += static_cast<size_t>(count);
    }
    return buffer.first(filled);
}

// What there is of a file from its start, whatever is said of its length.
std::vector<uint8_t> read_all(int descriptor, size_t length) {
    std::vector<uint8_t> bytes(length);
    size_t filled = 0;
    while (filled < length) {
        const ssize_t count = pread(descriptor, bytes.data() + filled, length - filled, static_cast<off_t>(filled));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(errno);
        if (count == 0) break;
        filled += static_cast<size_t>(count);
    }
    bytes.resize(filled);
    return bytes;
}

// A file without a name. It may be large: /tmp, where std::tmpfile makes it, is memory on some systems.
File scratch_file() {
    constexpr mode_t kOwn = 0600;
    for (const char* folder : {static_cast<const char*>(secure_getenv("TMPDIR")), "/var/tmp"}) {
        const int descriptor = folder ? open(folder, O_RDWR | O_TMPFILE | O_CLOEXEC, kOwn) : -1;
        if (descriptor < 0) continue;
        if (File file{fdopen(descriptor, "w+")}) return file;
        close(descriptor);
    }
    File file(std::tmpfile());
    if (!file) fail(errno);
    return file;
}

// A copy that goes with its mapping. Other things than jobs may have no end.
Bytes map_copy(int descriptor) {
    constexpr uint64_t kMost = 0x100000000;  // positions in a job have 32 bits
    const File copy = scratch_file();
    std::array<uint8_t, 0x10000> buffer;
    uint64_t length = 0;
    for (Bytes piece = read_piece(descriptor, std::span(buffer).first(kMagicSize)); !piece.empty();
         piece = read_piece(descriptor, buffer)) {
        if (length == 0) expect_magic(piece);
        length += piece.size();
        if (length > kMost) fail(EFBIG);
        if (std::fwrite(piece.data(), 1, piece.size(), copy.get()) != piece.size()) fail(errno);
    }
    if (std::fflush(copy.get()) != 0) fail(errno);
    return map(fileno(copy.get()), static_cast<off_t>(length));
}

}  // namespace

JobFile::JobFile(const std::string& path, Large large) {
    const Descriptor file(path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                      : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    struct stat status = {};
    if (fstat(file.get(), &status) != 0) fail(errno);
    if (S_ISDIR(status.st_mode)) fail(EISDIR);
    if (S_ISREG(status.st_mode) && status.st_size <= kMostRead) {
        read_ = read_all(file.get(), static_cast<size_t>(status.st_size));
        bytes_ = read_;
    } else {
        const bool in_place = S_ISREG(status.st_mode) && large == Large::Mapped;
        bytes_ = in_place ? map(file.get(), status.st_size) : map_copy(file.get());
    }
}

JobFile::~JobFile() {
    if (!bytes_.empty() && read_.empty()) munmap(const_cast<uint8_t*>(bytes_.data()), bytes_.size());
}

}  // namespace kvjob
