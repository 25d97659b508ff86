#pragma once
// The texts of the engine's description of a font.

#include "platform/ddi.h"

namespace kv {

inline const WCHAR* text_at(const IFIMETRICS& metrics, LONG offset) {
    return reinterpret_cast<const WCHAR*>(reinterpret_cast<const BYTE*>(&metrics) + offset);
}
inline const WCHAR* family_name(const IFIMETRICS& metrics) { return text_at(metrics, metrics.dpwszFamilyName); }
inline const WCHAR* face_name(const IFIMETRICS& metrics) { return text_at(metrics, metrics.dpwszFaceName); }

// The font is an outline font whose file the engine may have.
inline bool has_font_file(const IFIMETRICS& metrics) {
    return metrics.flInfo & (FM_INFO_TECH_TRUETYPE | FM_INFO_TECH_CFF);
}

// The mark of a vertical font before its family name.
inline constexpr WCHAR kVerticalPrefix = 0x40;

}  // namespace kv
