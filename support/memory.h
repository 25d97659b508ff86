#pragma once
// Heap memory whose failure is reported to the user and to the caller; nothing throws.

#include <memory>
#include <new>
#include <utility>

#include "platform/win32.h"
#include "support/assert.h"

namespace kv {

// Whose failure the user is told of when memory is out; nobody's for work that may as well be left undone.
inline constexpr const WCHAR* kAllocMem = TEXT("AllocMem");
inline constexpr const WCHAR* kQuietly = nullptr;

// Stores a block of size bytes, zero-filled when asked. FALSE and null for size 0 and when memory is out, which is
// reported under the operation's name, or quietly not at all.
BOOL AllocMem(void** out, size_t size, bool zero, const WCHAR* operation = kAllocMem);
void FreeMem(void* block);

// Owns a block of AllocMem seen as an array of plain values.
template <class T>
class HeapArray {
public:
    HeapArray() = default;
    HeapArray(HeapArray&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
    HeapArray& operator=(HeapArray&& other) noexcept {
        std::swap(block_, other.block_);
        return *this;
    }
    ~HeapArray() { reset(); }

    // Zero-filled; replaces what is held. On failure nothing is held.
    BOOL alloc(size_t count, const WCHAR* operation = kAllocMem) {
        reset();
        void* block = nullptr;
        if (count > static_cast<size_t>(-1) / sizeof(T)) return FALSE;
        if (!AllocMem(&block, count * sizeof(T), true, operation)) return FALSE;
        block_ = static_cast<T*>(block);
        return TRUE;
    }
    // Takes over a block made by AllocMem.
    void adopt(void* block) {
        reset();
        block_ = static_cast<T*>(block);
    }
    void reset() { FreeMem(std::exchange(block_, nullptr)); }
    T* release() { return std::exchange(block_, nullptr); }
    T* get() const { return block_; }
    T& operator[](size_t index) const {
        KV_ASSERT(block_);
        return block_[index];
    }
    T* operator->() const {
        KV_ASSERT(block_);
        return block_;
    }
    explicit operator bool() const { return block_ != nullptr; }

private:
    T* block_ = nullptr;
};

// Makes an object in AllocMem's memory, null when memory is out; destroy_object undoes it.
template <class T, class... Arguments>
T* make_object_for(const WCHAR* operation, Arguments&&... arguments) {
    void* block = nullptr;
    if (!AllocMem(&block, sizeof(T), true, operation)) return nullptr;
    return new (block) T(std::forward<Arguments>(arguments)...);
}
template <class T, class... Arguments>
T* make_object(Arguments&&... arguments) {
    return make_object_for<T>(kAllocMem, std::forward<Arguments>(arguments)...);
}
template <class T>
void destroy_object(T*& object) {
    if (T* doomed = std::exchange(object, nullptr)) {
        doomed->~T();
        FreeMem(doomed);
    }
}

// Owns an object of make_object.
struct ObjectDeleter {
    template <class T>
    void operator()(T* object) const {
        destroy_object(object);
    }
};
template <class T>
using ObjectPtr = std::unique_ptr<T, ObjectDeleter>;

}  // namespace kv
