#pragma once
// The font definitions of a job, found by what they say.

#include <array>
#include <utility>

#include "platform/win32.h"

namespace kv {

class FontList {
public:
    FontList() = default;
    FontList(FontList&& other) noexcept { swap(other); }
    FontList& operator=(FontList&& other) noexcept {
        swap(other);
        return *this;
    }
    ~FontList() { clear(); }

    // The identifier of the definition of a logical font, or 0. The face name is the one that the font goes by,
    // whatever the definition has in its place.
    DWORD find(const LOGFONTW& font) const;
    // Without memory for it the definition is not remembered.
    void add(DWORD id, const LOGFONTW& font);
    void clear();

    // Tells this document from every other of the process; 0 while nothing was asked.
    DWORD document();

private:
    struct Node {
        Node* next;
        DWORD id;
        DWORD hash;
        LOGFONTW font;
    };
    void swap(FontList& other) {
        buckets_.swap(other.buckets_);
        std::swap(document_, other.document_);
    }

    static constexpr size_t kBuckets = 256;
    std::array<Node*, kBuckets> buckets_{};
    DWORD document_ = 0;
};

}  // namespace kv
