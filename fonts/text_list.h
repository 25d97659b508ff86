#pragma once
// A list of texts in the order in which they came.

#include "support/memory.h"

namespace kv {

class TextList {
public:
    // A copy of the units, terminated. FALSE when memory is out; the list stays as it was.
    BOOL add(const WCHAR* units, size_t length);
    // Without regard to letter case.
    bool contains(const WCHAR* text) const;
    DWORD count() const { return count_; }

    // Stores the texts into count() pointers, valid until the list changes.
    void list(const WCHAR** texts) const;

private:
    BOOL reserve(size_t units);

    HeapArray<WCHAR> units_;  // the texts, each with its 0
    size_t used_ = 0, capacity_ = 0;
    DWORD count_ = 0;
};

}  // namespace kv
