#pragma once
// The 'name' table: its records, and what each of them says.

#include "fonts/name_text.h"
#include "fonts/sfnt.h"

namespace kv {

enum : WORD { kPlatformUnicode = 0, kPlatformMacintosh = 1, kPlatformWindows = 3 };
enum : WORD { kNameFamily = 1, kNameUnique = 3, kNameFull = 4, kNamePostScript = 6 };

// The names that a font is known by; no other is decoded.
inline bool is_read_name(WORD id) {
    return id == kNameFamily || id == kNameUnique || id == kNameFull || id == kNamePostScript;
}

struct NameRecord {
    WORD platform, encoding, language, name;
    WORD length, offset;  // of the text in the storage, in bytes
};

// A view of the table.
class NameTable {
public:
    static constexpr DWORD kHeaderSize = 6, kRecordSize = 12;

    NameTable(std::span<const BYTE> bytes, ByteOrder order);
    ByteOrder order() const { return order_; }
    // Records that lie within the table.
    DWORD count() const { return count_; }
    NameRecord record(DWORD index) const;
    // Empty when the text does not lie within the table, behind the records.
    std::span<const BYTE> text(const NameRecord& record) const;
    // Where the storage of texts starts.
    DWORD storage() const { return storage_; }

private:
    std::span<const BYTE> bytes_;
    ByteOrder order_;
    DWORD count_ = 0, storage_ = 0;
};

// Turns header, records and the UTF-16 texts around, each unit of the storage once however records share it.
void swap_name_table(std::span<BYTE> bytes, ByteOrder from);

// What names of one font have in common.
struct NameContext {
    UINT font_code_page = 0;  // of its legacy names, 0: none
    bool legacy_cjk = false;  // its Windows map has one of the encodings 2 to 6
    UINT cmap_code_page = 0;  // of its Windows map
};

enum class Decoded { Nothing, Text, NoMemory };

// The text and language of a record.
Decoded DecodeNameRecord(const NameTable& table, const NameRecord& record, const NameContext& context, NameText& text,
                         LANGID& language);

// Bounds what reading may cost, in bytes that are decoded or turned around: the records of a table may all point at
// one large text, and the members of a collection may all have one large table.
class ReadBudget {
public:
    // One pass over a 'name' table. The names of a sound font are a few kilobytes together.
    static constexpr uint64_t kOnePass = 1 << 20;
    // What a name costs beside its bytes: it is compared with others and with those of the installed fonts.
    static constexpr uint64_t kName = 256;

    explicit ReadBudget(uint64_t bytes = kOnePass) : left_(bytes) {}
    bool take(uint64_t bytes) {
        if (bytes > left_) {
            spent_ = true;
            return false;
        }
        left_ -= bytes;
        return true;
    }
    // Something was too much.
    bool spent() const { return spent_; }

private:
    uint64_t left_;
    bool spent_ = false;
};

}  // namespace kv
