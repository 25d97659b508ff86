#include "printhost/file_stream.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace kvprint {
namespace {

constexpr size_t kBlockBytes = 1 << 16, kBlocks = 8;

struct Block {
    int64_t start = -1;  // in the file; -1: nothing is in it
    size_t bytes = 0;
    std::array<unsigned char, kBlockBytes> data;
};

struct Blocks {
    int descriptor;
    const Hold* hold;
    std::array<Block, kBlocks> blocks;
};

void fill(fz_context* context, Block& block, int descriptor, int64_t start) {
    block.start = -1;
    ssize_t got = 0;
    do {
        got = pread(descriptor, block.data.data(), block.data.size(), start);
    } while (got < 0 && errno == EINTR);
    if (got < 0) fz_throw(context, FZ_ERROR_GENERIC, "read error: %s", std::strerror(errno));
    block.bytes = static_cast<size_t>(got);
    block.start = start;
}

// stream->pos is where the buffer ends, which is where reading goes on.
int next(fz_context* context, fz_stream* stream, size_t) {
    Blocks& all = *static_cast<Blocks*>(stream->state);
    if (all.hold->held) fz_throw(context, FZ_ERROR_TRYLATER, "held");
    const int64_t size = kBlockBytes, at = stream->pos, start = at - at % size;
    Block& block = all.blocks[static_cast<size_t>(start / size) % kBlocks];
    if (block.start != start) fill(context, block, all.descriptor, start);
    const auto skipped = static_cast<size_t>(at - start);
    if (skipped >= block.bytes) return EOF;
    stream->rp = block.data.data() + skipped;
    stream->wp = block.data.data() + block.bytes;
    stream->pos = start + static_cast<int64_t>(block.bytes);
    return *stream->rp++;
}

void seek(fz_context* context, fz_stream* stream, int64_t offset, int whence) {
    if (whence == SEEK_END) {
        offset += lseek(static_cast<Blocks*>(stream->state)->descriptor, 0, SEEK_END);
    } else if (whence == SEEK_CUR) {
        offset += stream->pos - (stream->wp - stream->rp);
    }
    if (offset < 0) fz_throw(context, FZ_ERROR_GENERIC, "no such place in a file");
    stream->rp = stream->wp;
    stream->pos = offset;
}

void drop(fz_context*, void* state) { delete static_cast<Blocks*>(state); }

}  // namespace

Stream open_stream(fz_context* context, int descriptor, const Hold& hold) {
    auto* blocks = new Blocks{descriptor, &hold, {}};
    Stream stream = make_held<Stream>(context, [&] { return fz_new_stream(context, blocks, next, drop); });
    stream.get()->seek = seek;
    return stream;
}

}  // namespace kvprint
