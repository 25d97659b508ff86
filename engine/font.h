#pragma once
// Fonts as the graphics engine hands them to a driver: a face of a font file at a size and a rotation.

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/font_file.h"
#include "engine/objects.h"
#include "engine/wide_string.h"

namespace kv::engine {

class Driver;

struct Vector {
    double x, y;
};
// The whole pixels that hold the points; what lies on a pixel's edge to within rounding takes no further pixel.
RECTL pixel_box(std::initializer_list<Vector> points);

class Font : public FONTOBJ {
public:
    // transform: notional units, y downwards, to device pixels. simulations: FO_SIM_*.
    // Throws std::runtime_error for a face that cannot be read.
    Font(std::shared_ptr<FontFile> file, ULONG face, const XFORML& transform, FLONG simulations = 0);
    // At that many pixels per em, turned counter-clockwise.
    Font(const std::shared_ptr<FontFile>& file, ULONG face, double em_pixels, double degrees = 0);
    // The driver that keeps something on the font is told.
    ~Font();
    Font(const Font&) = delete;
    Font& operator=(const Font&) = delete;

    // The driver that the font is drawn with.
    void bind(Driver* driver) { driver_ = driver; }
    // Other names than the file's own.
    void rename(const WideString& family, const WideString& face);
    // The bytes that drivers are given instead of the file's; none when empty.
    void give_bytes(std::vector<BYTE> bytes);

    IFIMETRICS& metrics() { return *reinterpret_cast<IFIMETRICS*>(metrics_.data()); }
    Transform& transform() { return transform_; }
    Face& face() { return face_; }
    const std::vector<BYTE>& driver_bytes() const { return replaced_ ? replacement_ : file_->bytes(); }

    // Device pixels. The advance is along the baseline.
    double advance(HGLYPH glyph) const;
    // The device's vector of a notional one, y upwards.
    Vector to_device(double x, double y) const;
    GLYPHDATA* glyph_data(HGLYPH glyph);

private:
    std::shared_ptr<FontFile> file_;
    Face& face_;
    Transform transform_;
    std::vector<BYTE> metrics_;
    bool replaced_ = false;
    std::vector<BYTE> replacement_;
    std::unordered_map<HGLYPH, std::unique_ptr<GLYPHDATA>> glyphs_;
    Driver* driver_ = nullptr;
};

}  // namespace kv::engine
