#pragma once
// Font files as the graphics engine reads them: TrueType, OpenType and collections of them, in memory.

#include <memory>
#include <string>
#include <vector>

#include "platform/ddi.h"

namespace kv::engine {

// The two edges of a glyph's ink around its origin, notional units with y upwards; all zero for a blank one.
struct InkBox {
    LONG left, bottom, right, top;
};

// One face of a file.
class Face {
public:
    struct Reader;
    explicit Face(std::unique_ptr<Reader> reader);
    ~Face();

    // The font's own description; the texts lie behind the structure.
    const std::vector<BYTE>& metrics() const { return metrics_; }
    // By the font's own map of Unicode characters, of a symbol font also by the characters below 0x100. 0: none.
    HGLYPH glyph_of(char32_t character) const;
    // Notional units.
    LONG advance(HGLYPH glyph) const;
    InkBox ink(HGLYPH glyph) const;
    ULONG glyph_count() const;
    // The characters of the basic plane.
    FD_GLYPHSET* glyph_set();

private:
    std::unique_ptr<Reader> reader_;
    std::vector<BYTE> metrics_;
    std::vector<uint64_t> glyph_set_;  // holds an FD_GLYPHSET
    std::vector<HGLYPH> handles_;
};

class FontFile {
public:
    // Throws std::runtime_error when there is no font in the bytes that can be read.
    explicit FontFile(std::vector<BYTE> bytes);
    static std::shared_ptr<FontFile> load(const std::string& host_path);

    const std::vector<BYTE>& bytes() const { return bytes_; }
    ULONG face_count() const { return static_cast<ULONG>(faces_.size()); }
    // Throws std::runtime_error for a face that cannot be read.
    Face& face(ULONG index);

private:
    std::vector<BYTE> bytes_;
    std::vector<std::unique_ptr<Face>> faces_;  // opened when first asked for
};

}  // namespace kv::engine
