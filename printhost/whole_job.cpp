#include "printhost/whole_job.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace kvprint {
namespace {

bool read_at(int descriptor, uint64_t at, unsigned char* bytes, size_t size) {
    return pread(descriptor, bytes, size, static_cast<off_t>(at)) == static_cast<ssize_t>(size);
}

}  // namespace

bool is_whole_job(int descriptor) {
    constexpr unsigned char kMagic[] = {'K', 'A', 'R', 'V'}, kSummary = 21, kPosition[] = {38, 4};
    constexpr size_t kPositionRecord = 6;
    struct stat status;
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return false;
    const auto size = static_cast<uint64_t>(status.st_size);
    unsigned char head[sizeof kMagic], tail[kPositionRecord], summary = 0;
    if (size <= sizeof head + sizeof tail || !read_at(descriptor, 0, head, sizeof head) ||
        std::memcmp(head, kMagic, sizeof head) != 0 || !read_at(descriptor, size - sizeof tail, tail, sizeof tail) ||
        std::memcmp(tail, kPosition, sizeof kPosition) != 0) {
        return false;
    }
    const uint64_t at = tail[2] | tail[3] << 8 | tail[4] << 16 | uint64_t{tail[5]} << 24;
    return at < size && read_at(descriptor, at, &summary, 1) && summary == kSummary;
}

}  // namespace kvprint
