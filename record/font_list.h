#pragma once
// The font definitions of a job, found by what they say.

#include <array>

#include "record/font_identity.h"

namespace kv {

struct RealizedFont;

class FontList {
public:
    FontList() = default;
    FontList(FontList&& other) noexcept { swap(other); }
    FontList& operator=(FontList&& other) noexcept {
        swap(other);
        return *this;
    }
    ~FontList() { clear(); }

    // The identifier of a font that looks the same and has the same embedded file (or none), or 0. Two files may give
    // their fonts the same names, as the subsets do that applications make: their texts need each its own.
    DWORD find(const RealizedFont& font, const FontIdentity* file) const;
    // Without memory for it the definition is not remembered.
    void add(const RealizedFont& font, const FontIdentity* file);
    void clear();

    // Tells this document from every other of the process; 0 while nothing was asked.
    DWORD document();

private:
    struct Node {
        Node* next;
        DWORD id;
        DWORD hash;
        LOGFONTW font;
        const FontIdentity* file;
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
