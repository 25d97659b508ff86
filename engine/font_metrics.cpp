#include "engine/font_metrics.h"

#include FT_SFNT_NAMES_H
#include FT_TRUETYPE_IDS_H
#include FT_TRUETYPE_TABLES_H

#include <cstring>

namespace kv::engine {
namespace {

WideString big_endian_text(const FT_SfntName& name) {
    WideString text;
    for (FT_UInt i = 0; i + 1 < name.string_len; i += 2) {
        text += static_cast<WCHAR>(name.string[i] << 8 | name.string[i + 1]);
    }
    return text;
}

// English before the first of any other language.
WideString windows_name(FT_Face face, FT_UShort id) {
    constexpr FT_UShort kEnglish = 0x09;
    WideString found;
    for (FT_UInt i = 0; i < FT_Get_Sfnt_Name_Count(face); ++i) {
        FT_SfntName name;
        if (FT_Get_Sfnt_Name(face, i, &name) != 0 || name.name_id != id) continue;
        if (name.platform_id != TT_PLATFORM_MICROSOFT) continue;
        const bool english = (name.language_id & 0x3FF) == kEnglish;
        if (found.empty() || english) found = big_endian_text(name);
        if (english) break;
    }
    return found;
}

WideString wide(const char* text) {
    WideString result;
    for (; text && *text; ++text) result += static_cast<WCHAR>(static_cast<unsigned char>(*text));
    return result;
}

BYTE charset_of(const TT_OS2* os2, bool is_symbol) {
    constexpr BYTE kSymbol = 2;
    if (is_symbol) return kSymbol;
    // A font of one East Asian character set names that set.
    constexpr struct {
        FT_ULong bit;
        BYTE charset;
    } kSets[] = {{0x20000, 128}, {0x40000, 134}, {0x80000, 129}, {0x100000, 136}};
    for (const auto& set : kSets) {
        if (os2 && os2->version >= 1 && (os2->ulCodePageRange1 & 0x1E0000) == set.bit) return set.charset;
    }
    return 0;
}

BYTE pitch_and_family(FT_Face face, const TT_OS2* os2) {
    enum : BYTE { kFixedPitch = 1, kVariablePitch = 2, kRoman = 0x10, kSwiss = 0x20, kModern = 0x30 };
    constexpr BYTE kPanoseLatinText = 2, kFirstSansSerif = 11, kLastSansSerif = 15;
    if (FT_IS_FIXED_WIDTH(face)) return kFixedPitch | kModern;
    if (!os2 || os2->panose[0] != kPanoseLatinText) return kVariablePitch;
    const BYTE serifs = os2->panose[1];
    if (serifs < kPanoseLatinText) return kVariablePitch;
    const bool sans = serifs >= kFirstSansSerif && serifs <= kLastSansSerif;
    return kVariablePitch | (sans ? kSwiss : kRoman);
}

void take_os2(IFIMETRICS& metrics, const TT_OS2& os2) {
    metrics.usWinWeight = os2.usWeightClass;
    metrics.fsSelection = static_cast<USHORT>(os2.fsSelection & 0x7F);
    metrics.fsType = os2.fsType;
    metrics.fwdWinAscender = static_cast<SHORT>(os2.usWinAscent);
    metrics.fwdWinDescender = static_cast<SHORT>(os2.usWinDescent);
    metrics.fwdTypoAscender = os2.sTypoAscender;
    metrics.fwdTypoDescender = os2.sTypoDescender;
    metrics.fwdTypoLineGap = os2.sTypoLineGap;
    metrics.fwdAveCharWidth = os2.xAvgCharWidth;
    metrics.fwdCapHeight = os2.sCapHeight;
    metrics.fwdXHeight = os2.sxHeight;
    metrics.fwdSubscriptXSize = os2.ySubscriptXSize;
    metrics.fwdSubscriptYSize = os2.ySubscriptYSize;
    metrics.fwdSubscriptXOffset = os2.ySubscriptXOffset;
    metrics.fwdSubscriptYOffset = os2.ySubscriptYOffset;
    metrics.fwdSuperscriptXSize = os2.ySuperscriptXSize;
    metrics.fwdSuperscriptYSize = os2.ySuperscriptYSize;
    metrics.fwdSuperscriptXOffset = os2.ySuperscriptXOffset;
    metrics.fwdSuperscriptYOffset = os2.ySuperscriptYOffset;
    metrics.fwdStrikeoutSize = os2.yStrikeoutSize;
    metrics.fwdStrikeoutPosition = os2.yStrikeoutPosition;
    metrics.wcFirstChar = static_cast<WCHAR>(os2.usFirstCharIndex);
    metrics.wcLastChar = static_cast<WCHAR>(os2.usLastCharIndex);
    metrics.wcDefaultChar = static_cast<WCHAR>(os2.usDefaultChar);
    metrics.wcBreakChar = static_cast<WCHAR>(os2.usBreakChar);
    std::memcpy(metrics.achVendId, os2.achVendID, sizeof metrics.achVendId);
    std::memcpy(metrics.panose, os2.panose, sizeof metrics.panose);
}

// For fonts without an OS/2 table.
void take_face(IFIMETRICS& metrics, FT_Face face) {
    constexpr USHORT kRegular = 400, kBold = 700;
    const bool bold = face->style_flags & FT_STYLE_FLAG_BOLD, italic = face->style_flags & FT_STYLE_FLAG_ITALIC;
    metrics.usWinWeight = bold ? kBold : kRegular;
    metrics.fsSelection = static_cast<USHORT>((bold ? FM_SEL_BOLD : 0) | (italic ? FM_SEL_ITALIC : 0));
    metrics.fwdWinAscender = face->ascender;
    metrics.fwdWinDescender = static_cast<SHORT>(-face->descender);
    metrics.fwdAveCharWidth = static_cast<SHORT>(face->max_advance_width / 2);
    metrics.wcBreakChar = ' ';
}

FLONG technology(FT_Face face) {
    if (!FT_IS_SFNT(face)) return FM_INFO_TECH_OUTLINE_NOT_TRUETYPE;
    FT_ULong length = 0;
    const bool cff = FT_Load_Sfnt_Table(face, FT_MAKE_TAG('C', 'F', 'F', ' '), 0, nullptr, &length) == 0;
    return cff ? FM_INFO_TECH_CFF : FM_INFO_TECH_TRUETYPE;
}

}  // namespace

FontTexts read_font_texts(FT_Face face) {
    enum : FT_UShort { kFamily = 1, kStyle = 2, kUnique = 3, kFull = 4 };
    FontTexts texts = {windows_name(face, kFamily), windows_name(face, kStyle), windows_name(face, kFull),
                       windows_name(face, kUnique)};
    if (texts.family.empty()) texts.family = wide(face->family_name);
    if (texts.style.empty()) texts.style = wide(face->style_name);
    if (texts.face.empty()) texts.face = texts.family;
    return texts;
}

std::vector<BYTE> make_metrics(FT_Face face, const FontTexts& texts, bool is_symbol) {
    IFIMETRICS metrics = {};
    auto* os2 = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(face, FT_SFNT_OS2));
    if (os2 && os2->version == 0xFFFF) os2 = nullptr;  // FreeType's mark of a missing table
    os2 ? take_os2(metrics, *os2) : take_face(metrics, face);
    metrics.flInfo = technology(face);
    metrics.jWinCharSet = charset_of(os2, is_symbol);
    metrics.jWinPitchAndFamily = pitch_and_family(face, os2);
    metrics.fwdUnitsPerEm = static_cast<SHORT>(face->units_per_EM);
    metrics.fwdLowestPPEm = 8;
    metrics.fwdMacAscender = face->ascender;
    metrics.fwdMacDescender = face->descender;
    metrics.fwdMacLineGap = static_cast<SHORT>(face->height - (face->ascender - face->descender));
    metrics.fwdMaxCharInc = face->max_advance_width;
    metrics.fwdUnderscoreSize = face->underline_thickness;
    metrics.fwdUnderscorePosition = face->underline_position;
    metrics.ptlBaseline = {1, 0};
    metrics.ptlAspect = {1, 1};
    metrics.ptlCaret = {0, 1};
    metrics.rclFontBox = {static_cast<LONG>(face->bbox.xMin), static_cast<LONG>(face->bbox.yMax),
                          static_cast<LONG>(face->bbox.xMax), static_cast<LONG>(face->bbox.yMin)};
    std::vector<BYTE> block(sizeof metrics);
    std::memcpy(block.data(), &metrics, sizeof metrics);
    return with_texts(block, texts);
}

std::vector<BYTE> with_texts(const std::vector<BYTE>& metrics, const FontTexts& texts) {
    std::vector<BYTE> block(metrics.begin(), metrics.begin() + sizeof(IFIMETRICS));
    IFIMETRICS head;
    std::memcpy(&head, block.data(), sizeof head);
    auto add = [&](const WideString& text) {
        const auto offset = static_cast<LONG>(block.size());
        auto* bytes = reinterpret_cast<const BYTE*>(text.c_str());
        block.insert(block.end(), bytes, bytes + (text.size() + 1) * sizeof(WCHAR));
        return offset;
    };
    head.dpwszFamilyName = add(texts.family);
    head.dpwszStyleName = add(texts.style);
    head.dpwszFaceName = add(texts.face);
    head.dpwszUniqueName = add(texts.unique);
    head.cjThis = static_cast<ULONG>(block.size());
    std::memcpy(block.data(), &head, sizeof head);
    return block;
}

}  // namespace kv::engine
