#pragma once
// Memory for reading and rendering, up to a limit: a file that declares more than that gets an error instead of it.

#include <mupdf/fitz.h>

#include <cstddef>

namespace kvprint {

class BoundedMemory {
public:
    // bytes: at a time, with the allocator's own rounding.
    explicit BoundedMemory(size_t bytes);
    BoundedMemory(const BoundedMemory&) = delete;
    BoundedMemory& operator=(const BoundedMemory&) = delete;

    const fz_alloc_context* functions() const { return &functions_; }
    // How often there was not enough. Not each time fails what asked: MuPDF makes room and asks again.
    size_t refusals() const { return refusals_; }

private:
    static void* allocate(void* self, size_t size);
    static void* reallocate(void* self, void* block, size_t size);
    static void release(void* self, void* block);
    bool fits(size_t size, size_t instead_of) const;

    fz_alloc_context functions_;
    size_t limit_, used_ = 0, refusals_ = 0;
};

}  // namespace kvprint
