#pragma once
// The font definitions of a job, found by what they say and by the font file that they mean.

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

    // A logical font as its record has it, and the identifier of the file that the job carries for it, 0 for none:
    // a definition that keeps its face name does not say which file it belongs to.
    struct Definition {
        LOGFONTW font;
        DWORD file_id;
    };

    // The identifier of a definition, or 0.
    DWORD find(const Definition& definition) const;
    // Without memory for it the definition is not remembered.
    void add(DWORD id, const Definition& definition);
    void clear();

    // Tells this document from every other of the process; 0 while nothing was asked.
    DWORD document();

private:
    struct Node {
        Node* next;
        DWORD id;
        DWORD hash;
        Definition definition;
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
