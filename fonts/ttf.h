#pragma once
// Reads one TrueType or OpenType font in memory.
//
// Parsing turns the tables that it reads from big-endian to host order where they lie; SetByteOrder turns them back.
// Members of a collection share tables, so that one member must be back in file order before the next is parsed.
//
// No table is trusted: a table that lies outside of the image, a second table of a tag, and a table that reaches into
// one that is read earlier count as absent.

#include "fonts/cmap_table.h"
#include "fonts/name_table.h"
#include "support/global_obj.h"
#include "support/text.h"

namespace kv {

struct CTtfTable {
    DWORD tag, checksum;
    BYTE* location;  // null: absent
    DWORD length;    // in bytes
    bool host_order;
    BYTE unit;        // of 'loca', while it is in host order: 2 or 4 bytes, 0 for neither
    DWORD converted;  // bytes of 'loca' in host order

    std::span<BYTE> bytes() const { return {location, location ? length : 0}; }
    ByteOrder order() const { return host_order ? ByteOrder::Host : ByteOrder::File; }
};

// A copy of a format-0 character map.
struct Format0Map {
    WORD format, length, language;
    BYTE glyphs[256];
};
static_assert(sizeof(Format0Map) == 262);

struct WindowsMap {
    bool present = false;
    WORD encoding = 0;
    WindowsEncoding kind = {};
    Format4Arrays arrays;
};

struct Format6Map {
    WORD format, length, language, first_code;
    WORD entry_count;
    const BYTE* glyphs;  // null: no such map
};

// What a parse found. Tables are null where there are none.
struct TtfResults {
    const CTtfTable *cmap = nullptr, *head = nullptr, *hhea = nullptr, *maxp = nullptr, *os2 = nullptr;
    const CTtfTable *glyf = nullptr, *name = nullptr, *post = nullptr, *loca = nullptr, *hmtx = nullptr;
    bool has_format0 = false;
    Format0Map format0 = {};
    WindowsMap windows;
    Format6Map format6 = {};
    const BYTE* left_side_bearings = nullptr;
    HeapArray<const BYTE*> glyph_names;  // of the glyph-name indices 258 and up: length, characters
    DWORD glyph_name_count = 0;
    NameSet names;
    WORD blank_space_glyph = 0;  // 0: none
};

class CTtf {
public:
    CTtf();
    CTtf(const CTtf&) = delete;
    CTtf& operator=(const CTtf&) = delete;

    // The virtual operations of a font reader, in the order of their slots.

    // Forgets the image and all that was found in it.
    virtual void Reset();
    // Frees the owned bytes and the table list.
    virtual void release();
    virtual ~CTtf() { CTtf::release(); }
    // Looks at bytes that stay alive and writable. The image may reach member_offset bytes before the view: those of
    // the collection that it is a member of. FALSE for a null view or size 0.
    virtual BOOL SetFontData(BYTE* view, DWORD size, BOOL keep_path, DWORD member_offset = 0);
    // FALSE for a collection, when memory is out, when a table is refused, and beyond a shared budget.
    virtual BOOL ParseFont();

protected:
    virtual bool WantTable(DWORD table_tag) const;
    // Called for each Windows family name of a non-zero language.
    virtual void on_windows_family_name(const NameText& text, LANGID language);
    virtual BOOL parse_cff(const CTtfTable* table);
    virtual BOOL parse_cmap_subtable(const CmapRecord& record, std::span<const BYTE> subtable);
    virtual BOOL parse_cmap_format0(const CmapRecord& record, std::span<const BYTE> subtable);
    virtual BOOL parse_cmap_format4(const CmapRecord& record, std::span<const BYTE> subtable);
    virtual BOOL parse_cmap_format6(const CmapRecord& record, std::span<const BYTE> subtable);
    virtual BOOL parse_cmap_format12(const CmapRecord& record, std::span<const BYTE> subtable);
    virtual BOOL parse_cmap(CTtfTable* table);
    virtual DWORD even_length(DWORD length) const;
    virtual BOOL parse_ebdt(const CTtfTable* table);
    virtual BOOL parse_eblc(const CTtfTable* table);
    virtual BOOL parse_ebsc(const CTtfTable* table);
    virtual BOOL parse_glyf(const CTtfTable* table);
    virtual BOOL parse_head(CTtfTable* table);
    virtual BOOL parse_hhea(CTtfTable* table);
    virtual BOOL parse_hmtx(CTtfTable* table);
    virtual BOOL parse_loca(CTtfTable* table);
    virtual BOOL parse_maxp(CTtfTable* table);
    // FALSE ends the parse.
    virtual BOOL OnNameRecord(const NameRecord& record, const NameText& text, LANGID language);
    virtual BOOL ParseName(CTtfTable* table);
    virtual BOOL parse_os2(CTtfTable* table);
    virtual BOOL ParsePost(CTtfTable* table);
    virtual BOOL ParseTable(CTtfTable* table);
    virtual BOOL ParseLateTable(CTtfTable* table);

public:
    // Reads a whole file into memory of the reader's own. FALSE for an empty path and an unreadable file.
    BOOL LoadFromFile(const WCHAR* path);
    // Copies size bytes. FALSE for null data, size 0 and when memory is out.
    BOOL LoadFromMemory(const void* data, DWORD size);
    // Until the next reset parses take what they cost from a budget that outlives them.
    void share_budget(ReadBudget* budget) { budget_ = budget; }
    // Before the first parse only the offset table is turned around.
    void SetByteOrder(ByteOrder order);
    // 0 when the font has no glyph for the character.
    WORD CharToGlyph(DWORD code) const;

    std::span<BYTE> image() const { return bytes_.subspan(member_offset_); }
    const WCHAR* path() const { return path_.c_str(); }
    // 0 for a font that is not a member of a collection.
    DWORD member_offset() const { return member_offset_; }
    // Empty before the first parse.
    std::span<CTtfTable> tables() const { return {tables_.get(), tables_ ? table_count_ : 0}; }
    // The directory lists the table, and it lies within the image.
    bool has_table(DWORD table_tag) const;

    const TtfResults& results() const { return found_; }
    const NamePair& family() const { return found_.names.family; }
    const NamePair& full_name() const { return found_.names.full; }
    const NamePair& postscript_name() const { return found_.names.postscript; }
    // Truncates to the capacity (at least 1). FALSE when the font has no unique identifier.
    BOOL unique_identifier(WCHAR* target, size_t capacity) const;

protected:
    ByteOrder directory_order() const { return directory_order_; }

private:
    BYTE* locate(const SfntEntry& entry) const;
    BOOL list_tables();
    void drop_conflicting_tables();
    bool conflicts(const CTtfTable& table, std::span<const CTtfTable* const> taken) const;
    void convert(CTtfTable& table, ByteOrder order);
    // values: at most so many, 0 for the whole table.
    void convert_loca(CTtfTable& table, ByteOrder order, DWORD values);
    BYTE loca_unit() const;
    void set_directory_order(ByteOrder order);
    const CTtfTable* find_table(DWORD table_tag) const;
    BOOL parse_all_tables();
    BOOL list_glyph_names(std::span<const BYTE> strings, DWORD count);
    WORD format0_glyph(DWORD code) const;
    bool has_outline(WORD glyph) const;
    void find_blank_space_glyph();
    bool take_from_budget(uint64_t bytes) { return !budget_ || budget_->take(bytes); }
    // What turning the tables that are read around looks at.
    uint64_t wanted_bytes() const;

    CGlobalObj buffer_;
    std::span<BYTE> bytes_;  // the image, and the collection's bytes before it
    DWORD member_offset_ = 0;
    PathText path_;
    UINT ansi_code_page_ = 0;
    ReadBudget* budget_ = nullptr;
    ByteOrder directory_order_ = ByteOrder::File;
    HeapArray<CTtfTable> tables_;
    DWORD table_count_ = 0;

protected:
    TtfResults found_;
};

}  // namespace kv
