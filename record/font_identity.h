#pragma once
// What makes a font file the same one, and the font files embedded in a job.

#include <span>
#include <utility>

#include "fonts/md5.h"
#include "platform/ddi.h"
#include "support/memory.h"

namespace kv {

struct FontIdentity {
    DWORD iUniq;    // of fonts that are not TrueType
    DWORD iTTUniq;  // of TrueType fonts
    DWORD flFontType;
    WCHAR family[64];  // truncated
    WCHAR face[64];
    DWORD size;  // of the font file, bytes; 0: there is none
    Md5Digest digest;
    DWORD file_id;  // of the file's record, 0 until it is written
};
static_assert(sizeof(FontIdentity) == 292);

FontIdentity make_font_identity(const FONTOBJ& font, const IFIMETRICS& metrics, std::span<const BYTE> file);
// Whatever handles the engine knows them under.
bool is_same_file(const FontIdentity& a, const FontIdentity& b);

// The font files of a job, in the order of their embedding.
class FontFileTable {
public:
    FontFileTable() = default;
    FontFileTable(FontFileTable&& other) noexcept { swap(other); }
    FontFileTable& operator=(FontFileTable&& other) noexcept {
        swap(other);
        return *this;
    }
    ~FontFileTable() { clear(); }

    FontIdentity* find(const FontIdentity& identity) const;
    // Keeps a copy. Null when memory is out; the last error is set then if it is the first one.
    FontIdentity* add(const FontIdentity& identity);
    void clear();

private:
    struct Block {
        static constexpr DWORD kCapacity = 100;
        Block* next;
        DWORD count;
        FontIdentity entries[kCapacity];
    };
    void swap(FontFileTable& other) {
        std::swap(first_, other.first_);
        std::swap(last_, other.last_);
    }

    Block* first_ = nullptr;
    Block* last_ = nullptr;
};

}  // namespace kv
