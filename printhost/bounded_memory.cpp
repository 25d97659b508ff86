#include "printhost/bounded_memory.h"

#include <malloc.h>

#include <cstdlib>

namespace kvprint {

BoundedMemory::BoundedMemory(size_t bytes) : functions_{this, allocate, reallocate, release}, limit_(bytes) {}

bool BoundedMemory::fits(size_t size, size_t instead_of) const {
    return size <= limit_ && used_ - instead_of <= limit_ - size;
}

void* BoundedMemory::allocate(void* self, size_t size) { return reallocate(self, nullptr, size); }

void* BoundedMemory::reallocate(void* self, void* block, size_t size) {
    auto& memory = *static_cast<BoundedMemory*>(self);
    const size_t before = malloc_usable_size(block);
    if (!memory.fits(size, before)) {
        ++memory.refusals_;
        return nullptr;
    }
    void* const changed = std::realloc(block, size);
    if (changed) memory.used_ += malloc_usable_size(changed) - before;
    return changed;
}

void BoundedMemory::release(void* self, void* block) {
    static_cast<BoundedMemory*>(self)->used_ -= malloc_usable_size(block);
    std::free(block);
}

}  // namespace kvprint
