#pragma once
// The records of a job file: framing, and what is known of each type.

#include <optional>
#include <vector>

#include "reader/bytes.h"

namespace kvjob {

enum class Framing { Short, Medium, Long, Compressed };

struct Record {
    uint64_t offset;  // of the type byte
    uint8_t type;
    Framing framing;
    Bytes payload;             // as it stands in the file
    uint32_t inflated_length;  // of a compressed record, else the payload's length

    bool compressed() const { return framing == Framing::Compressed; }
    uint64_t end(const uint8_t* file) const { return static_cast<uint64_t>(payload.data() - file) + payload.size(); }
};

// What every job begins with. Throws Fault where it is missing.
inline constexpr uint64_t kMagicSize = 4;
void expect_magic(Bytes file);

// The record that starts at an offset. Throws Fault where no whole record stands.
Record read_record(Bytes file, uint64_t offset);
// Bytes that a record's body may inflate to where nobody says otherwise.
inline constexpr uint64_t kRecordMemory = 256 << 20;
// The ordinary payload. `buffer` holds what had to be inflated, at most so many bytes. Throws BodyFault.
Bytes body_of(const Record& record, std::vector<uint8_t>& buffer, uint64_t memory);

// Reads records' bodies, of which it holds one at a time.
class BodyReader {
public:
    explicit BodyReader(uint64_t memory) : memory_(memory) {}
    Bytes operator()(const Record& record) { return body_of(record, buffer_, memory_); }

private:
    uint64_t memory_;
    std::vector<uint8_t> buffer_;
};

// How the type's body is laid out.
enum class Body {
    Unknown,  // not written by the driver
    Empty,
    Header,
    Brush,
    Font,
    FontFile,
    ClipReset,
    ClipRects,
    RectFill,
    Bitmap,
    TextState,
    Text,
    Path,
    ClipPath,
    DrawState,
    PageStartData,
    AlphaBlend,
    Transparent,
    Masked,
    Summary,
    Index,
    String,
    Tray,
    Attached,
    TrailerPosition,
};
struct TypeInfo {
    uint8_t type;
    Body body;
    const char* name;
    bool wide = false;     // 32-bit coordinates
    bool in_page = false;  // stands between a page's start and end
    bool sized = false;    // may take the long header whatever its length
    bool marks = false;    // sets the page flag for marks
};
const TypeInfo& type_info(uint8_t type);

}  // namespace kvjob
