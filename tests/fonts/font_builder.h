#pragma once
// Small fonts built by hand, big-endian as font files are.

#include <string>
#include <utility>
#include <vector>

#include "tests/common/bytes.h"

namespace kv::test {

inline Bytes ascii(const std::string& text) { return Bytes(text.begin(), text.end()); }
inline Bytes big_utf16(const std::u16string& text) { return Big().text(text); }

struct Name {
    int platform, encoding, language, id;
    Bytes text;
};
inline Name windows_name(int id, const std::u16string& text, int language = 0x409, int encoding = 1) {
    return {3, encoding, language, id, big_utf16(text)};
}
inline Name mac_name(int id, const Bytes& text, int language = 0, int script = 0) {
    return {1, script, language, id, text};
}
// Each name has storage of its own.
inline Bytes name_table(const std::vector<Name>& names) {
    Big records, storage;
    records.u16({0, static_cast<int>(names.size()), static_cast<int>(6 + 12 * names.size())});
    for (const Name& name : names) {
        records.u16({name.platform, name.encoding, name.language, name.id});
        records.u16({static_cast<int>(name.text.size()), static_cast<int>(storage.bytes.size())});
        storage.add(name.text);
    }
    return records.add(storage.bytes).bytes;
}

struct Segment {
    int start, end, delta, range_offset;
};
// A segment for 0xFFFF ends the map, as it must.
inline Bytes format4(std::vector<Segment> segments, const std::vector<int>& glyph_ids = {}) {
    segments.push_back({0xFFFF, 0xFFFF, 1, 0});
    const int count = static_cast<int>(segments.size());
    Big out;
    out.u16({4, 16 + 8 * count + 2 * static_cast<int>(glyph_ids.size()), 0, 2 * count, 0, 0, 0});
    for (const Segment& segment : segments) out.u16({segment.end});
    out.u16({0x1234});  // reserved: no number
    for (const Segment& segment : segments) out.u16({segment.start});
    for (const Segment& segment : segments) out.u16({segment.delta});
    for (const Segment& segment : segments) out.u16({segment.range_offset});
    for (int id : glyph_ids) out.u16({id});
    return out.bytes;
}

struct Encoding {
    int platform, encoding;
    size_t subtable;  // index
};
inline Bytes cmap(const std::vector<Encoding>& encodings, const std::vector<Bytes>& subtables) {
    std::vector<size_t> offsets;
    Big bodies, out;
    for (const Bytes& subtable : subtables) {
        offsets.push_back(4 + 8 * encodings.size() + bodies.bytes.size());
        bodies.add(subtable);
    }
    out.u16({0, static_cast<int>(encodings.size())});
    for (const Encoding& encoding : encodings) {
        out.u16({encoding.platform, encoding.encoding}).u32({static_cast<int64_t>(offsets[encoding.subtable])});
    }
    return out.add(bodies.bytes).bytes;
}
// One Windows map that has the letter A.
inline Bytes windows_cmap(int encoding = 1) { return cmap({{3, encoding, 0}}, {format4({{'A', 'A', -60, 0}})}); }

using Tables = std::vector<std::pair<std::string, Bytes>>;

constexpr int kDirectoryHeader = 12, kDirectoryEntry = 16;

// A directory whose tables lie at the offsets given.
struct Entry {
    std::string tag;
    int64_t offset, length;
};
inline Bytes directory(const std::vector<Entry>& entries, int64_t signature = 0x00010000) {
    Big out;
    out.u32({signature}).u16({static_cast<int>(entries.size()), 16, 0, 0});
    for (const Entry& entry : entries) out.text(entry.tag).u32({0x5A5A0000, entry.offset, entry.length});
    return out.bytes;
}

// The tables in the order given, each at a multiple of four.
inline Bytes font(const Tables& tables, int64_t signature = 0x00010000) {
    std::vector<Entry> entries;
    Bytes bodies;
    const size_t start = kDirectoryHeader + kDirectoryEntry * tables.size();
    for (const auto& [tag, bytes] : tables) {
        entries.push_back({tag, static_cast<int64_t>(start + bodies.size()), static_cast<int64_t>(bytes.size())});
        bodies.insert(bodies.end(), bytes.begin(), bytes.end());
        bodies.resize((bodies.size() + 3) / 4 * 4);
    }
    return Big().add(directory(entries, signature)).add(bodies).bytes;
}

// A collection: the shared tables, then each member's directory and the tables of its own behind it.
inline Bytes collection(const Tables& shared, const std::vector<Tables>& members) {
    const size_t header = 12 + 4 * members.size();
    Bytes body;
    const auto append = [&](const Bytes& bytes) {
        const size_t at = header + body.size();
        body.insert(body.end(), bytes.begin(), bytes.end());
        body.resize((body.size() + 3) / 4 * 4);
        return static_cast<int64_t>(at);
    };
    std::vector<Entry> common;
    for (const auto& [tag, bytes] : shared) {
        common.push_back({tag, append(bytes), static_cast<int64_t>(bytes.size())});
    }
    Big out;
    out.text("ttcf").u32({0x00010000, static_cast<int64_t>(members.size())});
    for (const Tables& own : members) {
        std::vector<Entry> entries = common;
        auto position = static_cast<int64_t>(header + body.size() + kDirectoryHeader +
                                             kDirectoryEntry * (common.size() + own.size()));
        out.u32({static_cast<int64_t>(header + body.size())});
        for (const auto& [tag, bytes] : own) {
            entries.push_back({tag, position, static_cast<int64_t>(bytes.size())});
            position += static_cast<int64_t>((bytes.size() + 3) / 4 * 4);
        }
        append(directory(entries));
        for (const auto& [tag, bytes] : own) append(bytes);
    }
    return out.add(body).bytes;
}

// Tables of which only the fields that are read matter.
inline Bytes head_table(int index_to_loc_format) { return Big().zeros(50).u16({index_to_loc_format, 0}).bytes; }
inline Bytes hhea_table(int metrics) { return Big().zeros(34).u16({metrics}).bytes; }
inline Bytes maxp_table(int glyphs) { return Big().u32({0x00005000}).u16({glyphs}).bytes; }
struct Os2Fields {
    int version = 1;
    int64_t code_pages1 = 0, code_pages2 = 0;
    int64_t unicode2 = 0;
    int first_char = 0x20, last_char = 0x7E;
};
inline Bytes os2_table(const Os2Fields& fields) {
    Big out;
    out.u16({fields.version}).zeros(44).u32({fields.unicode2}).zeros(8).text("KARV");
    return out.u16({0, fields.first_char, fields.last_char})
        .zeros(10)
        .u32({fields.code_pages1, fields.code_pages2})
        .bytes;
}

}  // namespace kv::test
