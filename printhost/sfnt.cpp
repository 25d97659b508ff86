#include "printhost/sfnt.h"

#include <algorithm>
#include <cstdio>

#include "printhost/hb_handles.h"

namespace kvprint {
namespace {

constexpr size_t kHeaderSize = 12, kEntrySize = 16;
constexpr uint16_t kSymbol = 0, kUnicode = 1;  // encodings of Windows maps

uint16_t load_u16(const uint8_t* at) { return static_cast<uint16_t>(at[0] << 8 | at[1]); }
uint32_t load_u32(const uint8_t* at) { return uint32_t{load_u16(at)} << 16 | load_u16(at + 2); }

// Windows names in English: family, style, unique identifier, full name, PostScript name. Names count that have the
// encoding of the font's map.
FontBytes make_name(const std::string& name, uint16_t encoding, bool bold, bool italic) {
    const std::string style = bold ? italic ? "Bold Italic" : "Bold" : italic ? "Italic" : "Regular";
    const std::pair<unsigned, std::string> names[] = {
        {1, name}, {2, style}, {3, name + " " + style}, {4, name}, {6, name}};
    FontWriter records, strings;
    for (const auto& [id, text] : names) {
        records.u16(3).u16(encoding).u16(0x409).u16(id);
        records.u16(static_cast<unsigned>(2 * text.size())).u16(static_cast<unsigned>(strings.bytes.size()));
        for (char letter : text) strings.u16(static_cast<uint8_t>(letter));
    }
    FontWriter table;
    table.u16(0).u16(std::size(names)).u16(static_cast<unsigned>(6 + records.bytes.size()));
    table.add(records.bytes);
    table.add(strings.bytes);
    return table.bytes;
}

// Format 4, a segment for each run of characters whose glyphs follow each other too.
FontBytes make_cmap(const CharacterMap& characters) {
    struct Segment {
        unsigned start, end, delta;
    };
    std::vector<Segment> segments;
    for (const auto& [character, glyph] : characters) {
        const unsigned delta = (glyph - unsigned{character}) & 0xFFFF;
        if (!segments.empty() && segments.back().end + 1 == character && segments.back().delta == delta) {
            ++segments.back().end;
        } else {
            segments.push_back({character, character, delta});
        }
    }
    constexpr size_t kMostSegments = 8000;  // the table's length has 16 bits
    segments.resize(std::min(segments.size(), kMostSegments));
    segments.push_back({0xFFFF, 0xFFFF, 1});
    const auto count = static_cast<unsigned>(segments.size());
    unsigned power = 1, selector = 0;
    for (; power * 2 <= count; power *= 2) ++selector;
    FontWriter table;
    table.u16(0).u16(1).u16(3).u16(1).u32(12);
    table.u16(4).u16(16 + 8 * count).u16(0).u16(2 * count).u16(2 * power).u16(selector).u16(2 * (count - power));
    for (const Segment& segment : segments) table.u16(segment.end);
    table.u16(0);
    for (const Segment& segment : segments) table.u16(segment.start);
    for (const Segment& segment : segments) table.u16(segment.delta);
    return table.zeros(2 * count).bytes;
}

FontBytes make_post(uint32_t version) {
    return FontWriter().u32(version).u32(0).u16(0xFF9C).u16(50).u32(0).zeros(16).bytes;
}

// The same as table OS/2 says.
void set_style(FontBytes& head, bool bold, bool italic) {
    constexpr size_t kMacStyle = 44;
    if (head.size() < kMacStyle + 2) return;
    head[kMacStyle] = 0;
    head[kMacStyle + 1] = static_cast<uint8_t>((bold ? 1 : 0) | (italic ? 2 : 0));
}

bool names_a_style(const std::string& name, std::initializer_list<const char*> styles) {
    return std::any_of(styles.begin(), styles.end(),
                       [&](const char* style) { return name.find(style) != std::string::npos; });
}

}  // namespace

char16_t character_of(const std::u32string& text) {
    if (text.size() == 1 && text[0] < 0xFFFF) return static_cast<char16_t>(text[0]);
    constexpr std::pair<const char32_t*, char16_t> kLigatures[] = {
        {U"ff", 0xFB00}, {U"fi", 0xFB01}, {U"fl", 0xFB02}, {U"ffi", 0xFB03}, {U"ffl", 0xFB04}};
    for (const auto& [letters, ligature] : kLigatures) {
        if (text == letters) return ligature;
    }
    return 0;
}

bool is_mapped(const CharacterMap& map, uint16_t glyph, const std::u32string& text) {
    const auto found = map.find(character_of(text));
    return found != map.end() && found->second == glyph;
}

CharacterMap make_map(const GlyphTexts& texts) {
    CharacterMap map;
    for (const auto& [glyph, all] : texts) {
        for (const std::u32string& text : all) {
            if (const char16_t character = character_of(text)) map.try_emplace(character, glyph);
        }
    }
    return map;
}

std::string glyph_name(const std::u32string& text) {
    std::string name;
    for (const char32_t character : text) {
        char part[16];
        std::snprintf(part, sizeof part, character > 0xFFFF ? "u%X" : "uni%04X", static_cast<unsigned>(character));
        name += (name.empty() ? "" : "_") + std::string(part);
    }
    constexpr size_t kLongest = 63;
    return name.substr(0, kLongest);
}

FontBytes make_sfnt(const FontTables& tables) {
    const HbFace face(hb_face_builder_create());
    for (const auto& [tag, table] : tables) {
        const HbBlob blob(hb_blob_create(reinterpret_cast<const char*>(table.data()),
                                         static_cast<unsigned>(table.size()), HB_MEMORY_MODE_DUPLICATE, nullptr,
                                         nullptr));
        hb_face_builder_add_table(face.get(), tag, blob.get());
    }
    return bytes_of(HbBlob(hb_face_reference_blob(face.get())).get());
}

bool is_collection(std::span<const uint8_t> file) {
    return file.size() >= kHeaderSize && load_u32(file.data()) == font_tag("ttcf");
}

bool is_sfnt(std::span<const uint8_t> file) {
    if (file.size() < kHeaderSize) return false;
    const uint32_t version = load_u32(file.data());
    return version == 0x10000 || version == font_tag("true") || version == font_tag("OTTO") || is_collection(file);
}

Sfnt::Sfnt(const FontBytes& bytes) : bytes_(bytes) {
    if (!is_sfnt(bytes) || is_collection(bytes)) return;
    const size_t count = load_u16(&bytes[4]);
    for (size_t i = 0; i < count && kHeaderSize + (i + 1) * kEntrySize <= bytes.size(); ++i) {
        const uint8_t* entry = &bytes[kHeaderSize + i * kEntrySize];
        const Table table = {load_u32(entry), load_u32(entry + 8), load_u32(entry + 12)};
        if (table.offset <= bytes.size() && table.length <= bytes.size() - table.offset && table.length > 0) {
            tables_.push_back(table);
        }
    }
}

const Sfnt::Table* Sfnt::find(const char (&tag)[5]) const {
    const uint32_t wanted = font_tag(tag);
    const auto found =
        std::find_if(tables_.begin(), tables_.end(), [&](const Table& table) { return table.tag == wanted; });
    return found == tables_.end() ? nullptr : &*found;
}

// 0 beyond a table's end.
uint16_t Sfnt::u16(const char (&tag)[5], size_t at) const {
    const Table* table = find(tag);
    return table && at + 2 <= table->length ? load_u16(&bytes_[table->offset + at]) : uint16_t{0};
}

bool Sfnt::is_usable() const {
    if (!find("head") || !find("hhea") || !find("hmtx") || !find("maxp")) return false;
    return find("CFF ") || (find("glyf") && find("loca"));
}

std::optional<uint16_t> Sfnt::windows_map() const {
    constexpr uint16_t kWindows = 3, kFormat = 4;
    for (size_t i = 0; i < u16("cmap", 2); ++i) {
        const size_t record = 4 + 8 * i;
        const size_t subtable = size_t{u16("cmap", record + 4)} << 16 | u16("cmap", record + 6);
        if (u16("cmap", record) == kWindows && u16("cmap", subtable) == kFormat) return u16("cmap", record + 2);
    }
    return std::nullopt;
}

bool Sfnt::has_unicode_map() const { return windows_map() == kUnicode; }

bool Sfnt::has_full_name(uint16_t encoding) const {
    for (size_t i = 0; i < u16("name", 2); ++i) {
        const size_t record = 6 + 12 * i;
        if (u16("name", record) == 3 && u16("name", record + 2) == encoding && u16("name", record + 6) == 4 &&
            !name_at(record).empty()) {
            return true;
        }
    }
    return false;
}

std::string Sfnt::name_at(size_t record) const {
    const bool wide = u16("name", record) != 1;  // of all but the Macintosh
    const size_t start = size_t{u16("name", 4)} + u16("name", record + 10), length = u16("name", record + 8);
    const Table& table = *find("name");
    if (start > table.length || length > table.length - start) return "";
    std::string name;
    const uint8_t* text = &bytes_[table.offset + start];
    for (size_t i = wide ? 1 : 0; i < length; i += wide ? 2 : 1) {
        const bool ascii = text[i] < 0x80 && (!wide || text[i - 1] == 0);
        name += ascii ? static_cast<char>(text[i]) : '?';
    }
    return name;
}

std::vector<std::string> Sfnt::names() const {
    constexpr uint16_t kFullName = 4, kPostScriptName = 6;
    std::vector<std::string> names;
    for (size_t i = 0; i < u16("name", 2); ++i) {
        const size_t record = 6 + 12 * i;
        const uint16_t id = u16("name", record + 6);
        if (id == kFullName || id == kPostScriptName) names.push_back(name_at(record));
    }
    return names;
}

bool Sfnt::is_complete() const {
    const auto encoding = windows_map();
    return is_usable() && encoding && find("OS/2") && find("post") && has_full_name(*encoding);
}

uint16_t Sfnt::average_advance() const {
    uint64_t sum = 0, count = 0;
    for (size_t i = 0; i < u16("hhea", 34); ++i) {
        const uint16_t advance = u16("hmtx", 4 * i);
        if (advance == 0) continue;
        sum += advance;
        ++count;
    }
    return count ? static_cast<uint16_t>(sum / count) : uint16_t{500};
}

FontBytes Sfnt::make_os2(bool bold, bool italic) const {
    const unsigned style = (italic ? 0x01u : 0u) | (bold ? 0x20u : 0u) | (bold || italic ? 0u : 0x40u);
    const int ascender = static_cast<int16_t>(u16("hhea", 4)), descender = static_cast<int16_t>(u16("hhea", 6));
    const int top = static_cast<int16_t>(u16("head", 42)), bottom = static_cast<int16_t>(u16("head", 38));
    FontWriter os2;
    os2.u16(3).u16(average_advance()).u16(bold ? 700 : 400).u16(5).u16(0);
    os2.zeros(20);                   // subscripts, superscripts and strike-out
    os2.u16(0).zeros(10).zeros(16);  // family class, PANOSE, ranges of Unicode
    os2.u32(font_tag("    ")).u16(style).u16(0x20).u16(0xFFFD);
    os2.u16(static_cast<unsigned>(ascender) & 0xFFFF).u16(static_cast<unsigned>(descender) & 0xFFFF).u16(0);
    os2.u16(static_cast<unsigned>(std::max(ascender, top)) & 0xFFFF);
    os2.u16(static_cast<unsigned>(-std::min(descender, bottom)) & 0xFFFF);
    os2.u32(1).u32(0);  // code page 1252
    os2.u16(0).u16(0).u16(0).u16(0x20).u16(0);
    return os2.bytes;
}

FontBytes Sfnt::make_named_post(const GlyphTexts& texts) const {
    constexpr unsigned kStandardNames = 258;
    const unsigned glyphs = u16("maxp", 4);
    FontWriter indices, names;
    unsigned next = kStandardNames;
    for (unsigned glyph = 0; glyph < glyphs; ++glyph) {
        const auto text = texts.find(static_cast<uint16_t>(glyph));
        indices.u16(text == texts.end() ? 0 : next++);
        if (text == texts.end()) continue;
        const std::string name = glyph_name(text->second.front());
        names.bytes.push_back(static_cast<uint8_t>(name.size()));
        names.bytes.insert(names.bytes.end(), name.begin(), name.end());
    }
    FontWriter post;
    post.bytes = make_post(0x20000);
    post.u16(glyphs);
    post.add(indices.bytes);
    post.add(names.bytes);
    return post.bytes;
}

FontBytes Sfnt::completed(const std::string& name, const GlyphTexts& texts) const {
    const bool bold = names_a_style(name, {"Bold", "bold", "Black", "Heavy"});
    const bool italic = names_a_style(name, {"Italic", "italic", "Oblique"});
    FontTables tables;
    for (const Table& table : tables_) {
        const auto begin = bytes_.begin() + static_cast<ptrdiff_t>(table.offset);
        tables.try_emplace(table.tag, begin, begin + static_cast<ptrdiff_t>(table.length));
    }
    GlyphTexts named = texts;
    std::erase_if(named, [](const auto& glyph) { return glyph.second.empty(); });
    const bool keeps_symbols = windows_map() == kSymbol && named.empty();
    if (!has_unicode_map() && !keeps_symbols) {
        const CharacterMap map = make_map(texts);
        tables[font_tag("cmap")] = make_cmap(map);
        std::erase_if(named, [&](const auto& glyph) { return is_mapped(map, glyph.first, glyph.second.front()); });
    }
    tables[font_tag("name")] = make_name(name, keeps_symbols ? kSymbol : kUnicode, bold, italic);
    if (!find("OS/2")) {
        tables[font_tag("OS/2")] = make_os2(bold, italic);
        set_style(tables[font_tag("head")], bold, italic);
    }
    if (!named.empty() && !find("CFF ")) {
        tables[font_tag("post")] = make_named_post(named);
    } else if (!find("post")) {
        tables[font_tag("post")] = make_post(0x30000);
    }
    tables.erase(font_tag("DSIG"));
    return make_sfnt(tables);
}

}  // namespace kvprint
