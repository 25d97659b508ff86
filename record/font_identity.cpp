#include "record/font_identity.h"

#include <cstring>

#include "fonts/ifi_metrics.h"
#include "support/text.h"

namespace kv {

FontIdentity make_font_identity(const FONTOBJ& font, const IFIMETRICS& metrics, std::span<const BYTE> file) {
    FontIdentity identity = {};
    const bool truetype = font.flFontType & FO_TYPE_TRUETYPE;
    identity.iUniq = truetype ? 0 : font.iUniq;
    identity.iTTUniq = truetype ? static_cast<DWORD>(font.iTTUniq) : 0;
    identity.flFontType = font.flFontType;
    copy_text(identity.family, std::size(identity.family), family_name(metrics));
    copy_text(identity.face, std::size(identity.face), face_name(metrics));
    identity.size = static_cast<DWORD>(file.size());
    if (!file.empty()) identity.digest = md5(file);
    return identity;
}

bool is_same_file(const FontIdentity& a, const FontIdentity& b) {
    constexpr size_t kStart = offsetof(FontIdentity, flFontType);
    constexpr size_t kSize = offsetof(FontIdentity, file_id) - kStart;
    static_assert(kSize == 280);
    return a.size != 0 && b.size != 0 &&
           std::memcmp(reinterpret_cast<const BYTE*>(&a) + kStart, reinterpret_cast<const BYTE*>(&b) + kStart, kSize) ==
               0;
}

FontIdentity* FontFileTable::find(const FontIdentity& identity) const {
    for (Block* block = first_; block; block = block->next) {
        for (DWORD i = 0; i < block->count; ++i) {
            if (is_same_file(block->entries[i], identity)) return &block->entries[i];
        }
    }
    return nullptr;
}

FontIdentity* FontFileTable::add(const FontIdentity& identity) {
    if (!last_ || last_->count == Block::kCapacity) {
        void* memory = nullptr;
        if (!AllocMem(&memory, sizeof(Block), true)) {
            if (!first_) SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return nullptr;
        }
        auto* block = static_cast<Block*>(memory);
        (last_ ? last_->next : first_) = block;
        last_ = block;
    }
    FontIdentity& entry = last_->entries[last_->count++];
    entry = identity;
    return &entry;
}

void FontFileTable::clear() {
    while (first_) FreeMem(std::exchange(first_, first_->next));
    last_ = nullptr;
}

}  // namespace kv
