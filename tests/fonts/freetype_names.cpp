#include "tests/fonts/freetype_names.h"

#include <ft2build.h>
#include <iconv.h>

#include <algorithm>
#include <array>
#include <optional>

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

// Text of a code page by the C library, without the driver's platform layer.
std::optional<Text> convert(const std::string& bytes, unsigned code_page) {
    const char* name = code_page == 1361    ? "JOHAB"
                       : code_page == 10000 ? "MACINTOSH"
                       : code_page == 949   ? "UHC"
                                            : nullptr;
    const iconv_t handle = iconv_open("UTF-16LE", name ? name : ("CP" + std::to_string(code_page)).c_str());
    if (handle == iconv_t(-1)) return {};
    Text out(bytes.size() + 1, u'\0');
    char* source = const_cast<char*>(bytes.data());
    char* target = reinterpret_cast<char*>(out.data());
    size_t left = bytes.size(), room = out.size() * 2;
    const bool whole = iconv(handle, &source, &left, &target, &room) != size_t(-1);
    iconv_close(handle);
    out.resize(out.size() - room / 2);
    return whole ? std::optional<Text>(out) : std::nullopt;
}

bool is_latin1(const Text& text) {
    static const Text others = convert(
                                   "\x80\x82\x83\x84\x85\x86\x87\x88\x89\x8A\x8B\x8C\x8E\x91\x92\x93\x94\x95\x96\x97"
                                   "\x98\x99\x9A\x9B\x9C\x9E\x9F",
                                   1252)
                                   .value_or(Text());
    static const Text unused = u"\x81\x8D\x8F\x90\x9D";  // the system maps these to themselves
    return std::ranges::all_of(text, [](char16_t unit) {
        return unit < 0x80 || (unit >= 0xA0 && unit < 0x100) || others.find(unit) != Text::npos ||
               unused.find(unit) != Text::npos;
    });
}

struct Record {
    unsigned platform, encoding, language, id;
    std::string bytes;
};

// What FreeType tells of one face.
struct Face {
    std::vector<Record> records;
    unsigned encoding = kNoEncoding;  // of the first Windows map of format 4
    unsigned code_page = 0;           // of the legacy names
    std::string family;               // as FreeType chooses it, '?' for what is not ASCII
};

unsigned windows_code_page(unsigned encoding) {
    constexpr unsigned kPages[] = {0, 0, 932, 936, 950, 949, 1361};
    return encoding < 7 ? kPages[encoding] : 0;
}

// Of the scripts that these fonts use.
unsigned macintosh_script_page(unsigned script) {
    static const std::map<unsigned, unsigned> pages = {{1, 932},  {2, 950},  {3, 949},  {4, 1256}, {5, 1255},
                                                       {6, 1253}, {7, 1251}, {21, 874}, {25, 936}};
    const auto found = pages.find(script);
    return found == pages.end() ? 0 : found->second;
}

unsigned macintosh_language_id(unsigned language) {
    static const std::map<unsigned, unsigned> ids = {
        {0, 0x409},  {1, 0x40C},  {2, 0x407},  {3, 0x410},  {4, 0x413},  {5, 0x41D},  {6, 0x40A},  {7, 0x406},
        {8, 0x416},  {9, 0x414},  {10, 0x40D}, {11, 0x411}, {12, 0x401}, {13, 0x40B}, {14, 0x408}, {17, 0x41F},
        {18, 0x41A}, {19, 0x404}, {22, 0x41E}, {23, 0x412}, {25, 0x415}, {26, 0x40E}, {32, 0x419}, {33, 0x804}};
    const auto found = ids.find(language);
    return found == ids.end() ? 0 : found->second;
}

unsigned font_code_page(FT_Face face) {
    const auto* os2 = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(face, FT_SFNT_OS2));
    if (os2 && os2->version != 0xFFFF && os2->version != 0) {
        static const std::map<FT_ULong, unsigned> bits = {
            {1, 1252},      {2, 1250},      {4, 1251},       {8, 1253},       {16, 1254},     {32, 1255},
            {64, 1256},     {128, 1257},    {256, 1258},     {1 << 16, 874},  {1 << 17, 932}, {1 << 18, 936},
            {1 << 19, 949}, {1 << 20, 950}, {1 << 21, 1361}, {1 << 29, 10000}};
        const auto found = bits.find(os2->ulCodePageRange1);
        return os2->ulCodePageRange2 || found == bits.end() ? 0 : found->second;
    }
    unsigned agreed = 0;
    for (int i = 0; i < face->num_charmaps; ++i) {
        const FT_CharMap map = face->charmaps[i];
        const unsigned page = map->platform_id == 1   ? macintosh_script_page(map->encoding_id)
                              : map->platform_id == 3 ? windows_code_page(map->encoding_id)
                                                      : 0;
        if (page && agreed && page != agreed) return 0;
        if (page) agreed = page;
    }
    return agreed;
}

Face read_face(FT_Face face) {
    Face found;
    for (FT_UInt i = 0; i < FT_Get_Sfnt_Name_Count(face); ++i) {
        FT_SfntName name;
        if (FT_Get_Sfnt_Name(face, i, &name) != 0) continue;
        found.records.push_back({name.platform_id, name.encoding_id, name.language_id, name.name_id,
                                 std::string(reinterpret_cast<const char*>(name.string), name.string_len)});
    }
    for (int i = 0; i < face->num_charmaps && found.encoding == kNoEncoding; ++i) {
        if (face->charmaps[i]->platform_id == 3 && FT_Get_CMap_Format(face->charmaps[i]) == 4) {
            found.encoding = face->charmaps[i]->encoding_id;
        }
    }
    found.code_page = font_code_page(face);
    found.family = face->family_name ? face->family_name : "";
    return found;
}

struct Candidate {
    Text text;
    bool is_8_bit = false;
    unsigned language = 0;
};

Text utf16_of(const std::string& bytes) {
    Text text;
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const int unit = (bytes[i] & 0xFF) << 8 | (bytes[i + 1] & 0xFF);
        if (unit == 0) break;
        text += static_cast<char16_t>(unit);
    }
    return text;
}

// A record by the rules of the readers; why is set for one that they leave out.
std::optional<Candidate> expected_candidate(const Record& record, const Face& face, std::string& why) {
    const unsigned map_page = face.encoding >= 2 && face.encoding <= 6 ? windows_code_page(face.encoding) : 0;
    Candidate candidate{{}, false, record.language};
    unsigned page = 0;
    if (record.platform == 1) {
        page = record.encoding ? macintosh_script_page(record.encoding) : 0;
        if (!page) page = face.code_page;
        candidate.is_8_bit = true;
        candidate.language = macintosh_language_id(record.language);
        const bool printable = std::ranges::all_of(record.bytes, [](char c) { return c >= 32 && c <= 126; });
        if (!printable && (page == 0 || page == 1252)) why = "Macintosh text beyond ASCII without a legacy code page";
        if (record.bytes.find('\0') != std::string::npos) why = "Macintosh text with zero bytes";
        if (!why.empty()) return {};
        if (!page) page = 1252;
        const auto text = convert(record.bytes, page);
        candidate.text = text ? *text : Text();
        if (!text) why = "text that its code page cannot hold";
    } else if (record.platform == 3 || record.platform == 0) {
        if (record.platform == 3) page = windows_code_page(record.encoding);
        candidate.text = utf16_of(record.bytes);
        if (map_page == 950 && record.language == 0x404) {
            std::string narrow;
            for (size_t i = 0; i + 1 < record.bytes.size(); i += 2) {
                if (record.bytes[i] != 0) why = "traditional Chinese in UTF-16 where Big5 is due";
                narrow += record.bytes[i + 1];
            }
            if (!why.empty()) return {};
            candidate.text = convert(narrow, 950).value_or(Text());
            candidate.is_8_bit = true;
            page = 950;
        }
    } else {
        why = "a platform that is not read";
    }
    if (candidate.text.empty() && why.empty()) why = "empty text";
    if (!why.empty()) return {};
    static const std::map<unsigned, unsigned> languages = {{874, 0x41E},  {932, 0x411},  {936, 0x804},  {949, 0x412},
                                                           {1361, 0x412}, {950, 0x404},  {1251, 0x419}, {1253, 0x408},
                                                           {1254, 0x41F}, {1255, 0x40D}, {1256, 0x401}, {1258, 0x42A}};
    if (candidate.language == 0x409 && !is_latin1(candidate.text)) {
        const auto language = languages.find(page);
        if (language != languages.end()) candidate.language = language->second;
    }
    return candidate;
}

bool is_english(unsigned language) { return (language & 0x3FF) == 9; }

// The system's code page is 1252 here.
int score(const Candidate& candidate, bool by_language) {
    if (!is_latin1(candidate.text)) return 1;
    return by_language && is_english(candidate.language) ? 5 : 4;
}

struct Expected {
    Text wide, ansi;  // the 8-bit form, in UTF-16
};

// The names of one id that the readers choose. windows_only: as without a copy of the font.
Expected expected_names(const Face& face, unsigned id, bool windows_only) {
    std::optional<Candidate> best[2];
    const bool unique = id == 3;
    for (const Record& record : face.records) {
        if (record.id != id) continue;
        if (windows_only && face.encoding != kNoEncoding &&
            (record.platform != 3 || record.encoding != face.encoding)) {
            continue;
        }
        std::string why;
        const auto candidate = expected_candidate(record, face, why);
        if (!candidate) continue;
        auto& slot = best[unique ? 0 : candidate->is_8_bit];
        if (!slot || score(*candidate, !unique) > score(*slot, !unique)) slot = candidate;
    }
    auto& [wide, ansi] = best;
    if (unique) return {wide ? wide->text : Text(), {}};
    if (!wide && !ansi) return {};
    if (!wide) wide = ansi;
    if (!ansi) ansi = wide;
    const unsigned a = ansi->language & 0x3FF, w = wide->language & 0x3FF;
    if (a != 9 && w == 9 && a != 0) {
        ansi = wide;
    } else if (a == 9 && w != 9 && w != 0) {
        wide = ansi;
    }
    return {wide->text, ansi->text};
}

Text wide_of(const NameText& text) { return text.wide() ? text.wide() : Text(); }

std::string printable(const Text& text) {
    std::string out;
    for (char16_t unit : text) {
        char number[8];
        std::snprintf(number, sizeof number, "\\u%04X", unsigned{unit});
        out += unit < 128 ? std::string(1, static_cast<char>(unit)) : number;
    }
    return out;
}

class Comparer {
public:
    Comparer(FT_Face ft, const std::string& label, FontComparison& result)
        : ft_(ft), face_(read_face(ft)), label_(label), result_(result) {
        ++result_.faces;
    }

    void names(const NameSet& set, bool windows_only) {
        const std::pair<unsigned, const NamePair*> pairs[] = {{1, &set.family}, {4, &set.full}, {6, &set.postscript}};
        for (const auto& [id, pair] : pairs) {
            const Expected expected = expected_names(face_, id, windows_only);
            equal(expected.wide, wide_of(pair->wide.text), "name " + std::to_string(id));
            NameText ansi;
            const bool same_units = pair->ansi.text.ansi() && ansi.assign(pair->ansi.text) && ansi.ensure_wide();
            // A text of UTF-16 that its code page cannot hold has '?' there.
            if (is_latin1(expected.ansi)) equal(expected.ansi, same_units ? wide_of(ansi) : Text(), "8-bit name");
        }
        equal(expected_names(face_, 3, windows_only).wide, wide_of(set.unique.text), "unique identifier");
        family(wide_of(set.family.wide.text));
    }

    void encoding(unsigned found) {
        if (found != face_.encoding) fault("Windows map " + std::to_string(found));
    }

    void records() {
        for (const Record& record : face_.records) {
            std::string why;
            ++result_.records;
            if (record.id != 1 && record.id != 3 && record.id != 4 && record.id != 6) continue;
            if (!expected_candidate(record, face_, why)) ++result_.explained["record left out: " + why];
        }
    }

    void glyphs(const CTtf& font) {
        const WindowsMap& map = font.results().windows;
        if (!map.present) return;
        for (int i = 0; i < ft_->num_charmaps; ++i) {
            const FT_CharMap charmap = ft_->charmaps[i];
            if (charmap->platform_id != 3 || FT_Get_CMap_Format(charmap) != 4) continue;
            FT_Set_Charmap(ft_, charmap);
            for (DWORD code = 1; code < 0x10000; ++code) glyph(font, code);
            return;
        }
    }

    void fault(const std::string& what) { result_.faults.push_back(label_ + ": " + what); }

private:
    void equal(const Text& expected, const Text& found, const std::string& what) {
        ++result_.names;
        if (expected != found)
            fault(what + ": \"" + printable(found) + "\" instead of \"" + printable(expected) + "\"");
    }

    // FreeType's own choice, which it gives in ASCII.
    void family(const Text& found) {
        std::string ascii;
        for (char16_t unit : found) ascii += unit >= 32 && unit <= 127 ? static_cast<char>(unit) : '?';
        if (ascii == face_.family) {
            ++result_.names;
            return;
        }
        const bool has_english = std::ranges::any_of(face_.records, [](const Record& r) {
            return r.id == 1 && r.platform == 3 && is_english(r.language) && is_latin1(utf16_of(r.bytes));
        });
        const bool is_cut = !ascii.empty() && face_.family.starts_with(ascii);
        if (has_english) {
            fault("family \"" + ascii + "\", FreeType's \"" + face_.family + "\"");
        } else if (is_cut) {
            fault("family cut: \"" + ascii + "\" of \"" + face_.family + "\"");
        } else {
            ++result_.explained["family: no English name for Windows, the first of the best is taken"];
        }
    }

    void glyph(const CTtf& font, DWORD code) {
        const WORD found = font.CharToGlyph(code);
        const FT_UInt theirs = FT_Get_Char_Index(ft_, code);
        ++result_.characters;
        if (found == theirs) return;
        const FT_UInt other = FT_Get_Char_Index(ft_, code == 0x2D ? 0xAD : 0x2D);
        if ((code == 0x2D || code == 0xAD) && theirs == 0 && found == other) {
            ++result_.explained["character: one hyphen stands for the other"];
        } else if (theirs == 0 && found >= ft_->num_glyphs) {
            ++result_.explained["character: glyph beyond the font's last"];
        } else {
            fault("character " + std::to_string(code) + ": glyph " + std::to_string(found) + ", FreeType's " +
                  std::to_string(theirs));
        }
    }

    FT_Face ft_;
    Face face_;
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
    compare.records();
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
