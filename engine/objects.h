#pragma once
// Brushes, clips, transforms and colour translations as the graphics engine hands them to a driver.

#include <functional>
#include <memory>
#include <vector>

#include "engine/bitmap.h"
#include "engine/path.h"

namespace kv::engine {

class Device;

// From a source's colours to the device's, which have blue in the low byte.
class Translation : public XLATEOBJ {
public:
    // With a table, an index becomes the table's entry; without one, a colour stays as it is.
    explicit Translation(std::vector<ULONG> table = {});
    // Of a source whose pixels hold red, green and blue in these bits, which the driver may ask for.
    Translation(ULONG red, ULONG green, ULONG blue);
    // Known colour by colour only.
    explicit Translation(std::function<ULONG(ULONG)> map);
    Translation(const Translation&) = delete;
    Translation& operator=(const Translation&) = delete;

    ULONG translate(ULONG colour) const;
    const std::vector<ULONG>& source_fields() const { return source_fields_; }

private:
    std::vector<ULONG> table_, source_fields_;
    std::function<ULONG(ULONG)> map_;
};

// Colours are in the surface's order: blue in the low byte.
class Brush : public BRUSHOBJ {
public:
    static Brush solid(ULONG colour);
    static Brush hatched(ULONG hatch, ULONG foreground, ULONG background);
    // Both must outlive the brush; without a bitmap it is a pattern brush that has none.
    static Brush patterned(Bitmap* pattern, Translation* translation);

    // The device that realises the brush when the driver asks for it.
    void bind(Device* device) { device_ = device; }
    // Null when the driver cannot realise it. Realised once.
    void* realized();
    void* allocate(ULONG bytes);

private:
    Brush() : BRUSHOBJ{} {}

    Device* device_ = nullptr;
    ULONG hatch_ = HS_DDI_MAX;
    ULONG colours_[2] = {};  // background, foreground
    Bitmap* pattern_ = nullptr;
    Translation* translation_ = nullptr;
    std::unique_ptr<BYTE[]> memory_;
};

// A clip region: everything, one rectangle, or disjoint rectangles, whose outlines are its path. Each has its own
// identity.
class Clip : public CLIPOBJ {
public:
    static Clip everything();
    static Clip rectangle(const RECTL& rect);
    static Clip region(std::vector<RECTL> rects);

    const std::vector<RECTL>& rects() const { return rects_; }

private:
    Clip() : CLIPOBJ{} {}

    std::vector<RECTL> rects_;
};

class Transform : public XFORMOBJ {
public:
    explicit Transform(const XFORML& matrix) : XFORMOBJ{}, matrix_(matrix) {}
    const XFORML& matrix() const { return matrix_; }

private:
    XFORML matrix_;
};

}  // namespace kv::engine
