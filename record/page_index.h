#pragma once
// The page index: one entry a page, kept in blocks until the trailer is written.

#include <utility>

#include "record/geometry.h"

namespace kv {

// As the 32-bit form of the index holds it.
struct PageEntry {
    DWORD position;    // of the page's start record in the job file
    WORD paper_size;   // dmPaperSize
    BYTE orientation;  // 1 portrait, otherwise landscape
    BYTE flags;        // kPage*
    LONG width, height;
    RECTL printable;
    RECTL marks;  // kEmptyRect when nothing was drawn
};
static_assert(sizeof(PageEntry) == 48);

enum : BYTE {
    kPageReadsDestination = 0x01,
    kPageNamesTray = 0x04,
    kPageHasMarks = 0x08,
    kPageHasTransparency = 0x20,
};

struct CPageIndexBlock {
    static constexpr DWORD kCapacity = 100;  // pages
    CPageIndexBlock* next;
    DWORD count;
    PageEntry entries[kCapacity];
};
static_assert(sizeof(void*) != 4 || sizeof(CPageIndexBlock) == 4808);

class PageIndex {
public:
    PageIndex() = default;
    PageIndex(PageIndex&& other) noexcept
        : first_(std::exchange(other.first_, nullptr)),
          last_(std::exchange(other.last_, nullptr)),
          current_(std::exchange(other.current_, nullptr)) {}
    PageIndex& operator=(PageIndex&& other) noexcept {
        std::swap(first_, other.first_);
        std::swap(last_, other.last_);
        std::swap(current_, other.current_);
        return *this;
    }
    ~PageIndex() { clear(); }

    // An empty index with its first block. FALSE when memory is out.
    BOOL start();
    // The next page's entry, zero-filled, or null when memory is out. It becomes the current one.
    PageEntry* add();
    // The entry of the page started last; null before the first page.
    PageEntry* current() const { return current_; }
    const CPageIndexBlock* first() const { return first_; }
    void clear();

private:
    CPageIndexBlock* first_ = nullptr;
    CPageIndexBlock* last_ = nullptr;
    PageEntry* current_ = nullptr;
};

}  // namespace kv
