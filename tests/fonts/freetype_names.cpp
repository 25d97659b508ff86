#include "tests/fonts/freetype_names.h"

#include <ft2build.h>

#include <algorithm>

#include "fonts/font_names.h"
#include "fonts/ttc.h"
#include FT_FREETYPE_H
#include FT_PARAMETER_TAGS_H
#include FT_SFNT_NAMES_H
#include FT_TRUETYPE_IDS_H
#include FT_TRUETYPE_TABLES_H

namespace kv::test {
namespace {

using Text = std::u16string;
constexpr unsigned kNoEncoding = 0xFFFF;

struct Record {
    unsigned platform, encoding, language, id;
    std::string bytes;
};

bool is_utf16(const Record& record) { return record.platform == 0 || record.platform == 3; }
bool is_english(const Record& record) {
    return record.platform == 1 ? record.language == 0 : (record.language & 0x3FF) == 9;
}

// Up to a zero. Macintosh text only in ASCII: its code pages are not Windows'.
Text text_of(const Record& record) {
    Text text;
    for (size_t i = 0; is_utf16(record) && i + 1 < record.bytes.size(); i += 2) {
        text += static_cast<char16_t>((record.bytes[i] & 0xFF) << 8 | (record.bytes[i + 1] & 0xFF));
    }
    if (record.platform == 1 && std::ranges::all_of(record.bytes, [](char c) { return c >= 32 && c <= 126; })) {
        text.assign(record.bytes.begin(), record.bytes.end());
    }
    return text.substr(0, text.find(u'\0'));
}

bool is_ascii(const Text& text) {
    return std::ranges::all_of(text, [](char16_t unit) { return unit < 0x80; });
}
Text wide_of(const NameText& text) { return text.wide() ? text.wide() : Text(); }

std::string printable(const Text& text) {
    std::string out;
    for (char16_t unit : text)
        out += unit < 128 ? std::string(1, static_cast<char>(unit)) : "<" + std::to_string(unit) + ">";
    return out;
}

class Comparer {
public:
    Comparer(FT_Face ft, const std::string& label, FontComparison& result) : ft_(ft), label_(label), result_(result) {
        ++result_.faces;
        for (FT_UInt i = 0; i < FT_Get_Sfnt_Name_Count(ft); ++i) {
            FT_SfntName name;
            if (FT_Get_Sfnt_Name(ft, i, &name) != 0) continue;
            records_.push_back({name.platform_id, name.encoding_id, name.language_id, name.name_id,
                                std::string(reinterpret_cast<const char*>(name.string), name.string_len)});
        }
        for (int i = 0; i < ft->num_charmaps && encoding_ == kNoEncoding; ++i) {
            if (ft->charmaps[i]->platform_id != 3 || FT_Get_CMap_Format(ft->charmaps[i]) != 4) continue;
            encoding_ = ft->charmaps[i]->encoding_id;
            map_ = ft->charmaps[i];
        }
        result_.records += records_.size();
    }

    // windows_only: only the records of the Windows map's encoding count, where there is one.
    void names(const NameSet& set, bool windows_only) {
        name(3, wide_of(set.unique.text), windows_only);
        const std::pair<unsigned, const NamePair*> pairs[] = {{1, &set.family}, {4, &set.full}, {6, &set.postscript}};
        for (const auto& [id, pair] : pairs) {
            name(id, wide_of(pair->wide.text), windows_only);
            NameText ansi;
            if (!pair->ansi.text.ansi() || !ansi.assign(pair->ansi.text) || !ansi.ensure_wide()) continue;
            // Where UTF-16 became 8-bit text, '?' stands for what has no place in it.
            const Text text = wide_of(ansi);
            if (!is_recorded(id, text) && text.find(u'?') == Text::npos) fault("8-bit name " + printable(text));
        }
        family(wide_of(set.family.wide.text));
    }

    void encoding(unsigned found) {
        if (found != encoding_) fault("Windows map " + std::to_string(found));
    }

    void glyphs(const CTtf& font) {
        if (!map_) return;
        FT_Set_Charmap(ft_, map_);
        for (DWORD code = 1; code < 0x10000; ++code) glyph(font, code);
    }

    void fault(const std::string& what) { result_.faults.push_back(label_ + ": " + what); }

private:
    bool is_recorded(unsigned id, const Text& text) const {
        return std::ranges::any_of(records_, [&](const Record& r) { return r.id == id && text_of(r) == text; });
    }

    // A name is one that the font records, of Windows' English ones where there are such, and none is left out.
    void name(unsigned id, const Text& found, bool windows_only) {
        ++result_.names;
        bool any = false, any_english = false, is_english_one = false;
        for (const Record& record : records_) {
            const Text text = text_of(record);
            const bool counts =
                !windows_only || encoding_ == kNoEncoding || (record.platform == 3 && record.encoding == encoding_);
            if (record.id != id || text.empty() || !counts) continue;
            any = true;
            if (id == 3 || record.platform != 3 || !is_english(record) || !is_ascii(text)) continue;
            any_english = true;
            is_english_one |= text == found;
        }
        const bool right = any_english ? is_english_one : any ? is_recorded(id, found) : found.empty();
        if (!right) fault("name " + std::to_string(id) + ": " + printable(found));
    }

    // FreeType's own choice, which it gives in ASCII.
    void family(const Text& found) {
        ++result_.names;
        std::string ascii;
        for (char16_t unit : found) ascii += unit >= 32 && unit <= 127 ? static_cast<char>(unit) : '?';
        if (ascii == (ft_->family_name ? ft_->family_name : "")) return;
        const bool has_english = std::ranges::any_of(records_, [](const Record& r) {
            return r.id == 1 && r.platform == 3 && is_english(r) && is_ascii(text_of(r));
        });
        if (has_english) fault("family " + ascii + ", FreeType's " + (ft_->family_name ? ft_->family_name : "none"));
    }

    void glyph(const CTtf& font, DWORD code) {
        const WORD found = font.CharToGlyph(code);
        const FT_UInt theirs = FT_Get_Char_Index(ft_, code);
        ++result_.characters;
        if (found == theirs) return;
        const bool is_hyphen = code == 0x2D || code == 0xAD;
        if (is_hyphen && theirs == 0 && found == FT_Get_Char_Index(ft_, code == 0x2D ? 0xAD : 0x2D)) {
            ++result_.explained["character: one hyphen stands for the other"];
        } else {
            fault("character " + std::to_string(code) + ": glyph " + std::to_string(found) + ", FreeType's " +
                  std::to_string(theirs));
        }
    }

    FT_Face ft_;
    std::vector<Record> records_;
    unsigned encoding_ = kNoEncoding;  // of the first Windows map of format 4
    FT_CharMap map_ = nullptr;
    std::string label_;
    FontComparison& result_;
};

class Library {
public:
    Library() { FT_Init_FreeType(&handle_); }
    ~Library() { FT_Done_FreeType(handle_); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    // Families by name id 1, as the readers take them.
    FT_Face open(const std::vector<BYTE>& file, FT_Long index) {
        FT_Parameter parameters[] = {{FT_PARAM_TAG_IGNORE_TYPOGRAPHIC_FAMILY, nullptr},
                                     {FT_PARAM_TAG_IGNORE_TYPOGRAPHIC_SUBFAMILY, nullptr}};
        FT_Open_Args args = {};
        args.flags = FT_OPEN_MEMORY | FT_OPEN_PARAMS;
        args.memory_base = file.data();
        args.memory_size = static_cast<FT_Long>(file.size());
        args.num_params = 2;
        args.params = parameters;
        FT_Face face = nullptr;
        return FT_Open_Face(handle_, &args, index, &face) == 0 ? face : nullptr;
    }

private:
    FT_Library handle_ = nullptr;
};

void compare_face(Library& library, const std::vector<BYTE>& file, FT_Long index, CTtf& font, const std::string& label,
                  FontComparison& result) {
    const FT_Face ft = library.open(file, index);
    if (!ft) {
        ++result.explained["a file that FreeType does not open"];
        return;
    }
    Comparer compare(ft, label + "#" + std::to_string(index), result);
    if (!font.ParseFont()) compare.fault("is not parsed");
    compare.names(font.results().names, false);
    compare.encoding(font.results().windows.present ? font.results().windows.encoding : kNoEncoding);
    compare.glyphs(font);
    for (const CTtfTable& table : font.tables()) {
        if (!table.location) compare.fault("a table counts as absent");
    }
    if (IsCollection(file.data(), static_cast<DWORD>(file.size())) == 0) {
        FontNames found;
        if (!ReadFontNames(file.data(), static_cast<DWORD>(file.size()), found)) compare.fault("names are not read");
        compare.names(found.names, true);
        compare.encoding(found.encoding);
    } else {
        const Text family = wide_of(font.family().wide.text);
        const LONG member = find_collection_member(file.data(), static_cast<DWORD>(file.size()), family.c_str());
        if (member < 0 || member > index) compare.fault("is not found by its family");
    }
    FT_Done_Face(ft);
}

}  // namespace

void compare_with_freetype(const std::vector<BYTE>& file, const std::string& label, FontComparison& result) {
    Library library;
    std::vector<BYTE> copy = file;
    if (IsCollection(copy.data(), static_cast<DWORD>(copy.size())) != 1) {
        CTtf font;
        font.SetFontData(copy.data(), static_cast<DWORD>(copy.size()), FALSE);
        compare_face(library, file, 0, font, label, result);
        font.SetByteOrder(ByteOrder::File);
        if (copy != file) result.faults.push_back(label + ": is not restored");
        return;
    }
    CTtc members;
    members.set_data(copy.data(), static_cast<DWORD>(copy.size()));
    const std::vector<BYTE> split = copy;
    FT_Long index = 0;
    for (CTtf* member = members.first_member(); member; member = members.next_member()) {
        compare_face(library, file, index++, *member, label, result);
        member->SetByteOrder(ByteOrder::File);
        if (copy != split) result.faults.push_back(label + ": is not restored");
    }
    if (index == 0) result.faults.push_back(label + ": is not split");
}

}  // namespace kv::test
