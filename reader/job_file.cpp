#include "reader/job_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace kvjob {

JobFile::JobFile(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    if (file < 0 || fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        const int error = file < 0 ? errno : EINVAL;
        if (file >= 0) close(file);
        throw std::runtime_error(std::string("cannot read the file: ") + std::strerror(error));
    }
    const auto size = static_cast<size_t>(status.st_size);
    void* map = size ? mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0) : nullptr;
    close(file);
    if (map == MAP_FAILED) throw std::runtime_error("cannot map the file");
    bytes_ = {static_cast<const uint8_t*>(map), size};
}

JobFile::~JobFile() {
    if (!bytes_.empty()) munmap(const_cast<uint8_t*>(bytes_.data()), bytes_.size());
}

}  // namespace kvjob
