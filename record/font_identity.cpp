#include "record/font_identity.h"

#include <iterator>

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

std::span<const BYTE> content_of(const FontIdentity& identity) {
    constexpr size_t kStart = offsetof(FontIdentity, flFontType);
    static_assert(sizeof identity - kStart == 280);
    return {reinterpret_cast<const BYTE*>(&identity) + kStart, sizeof identity - kStart};
}

}  // namespace kv
