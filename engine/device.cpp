#include "engine/device.h"

#include <stdexcept>
#include <vector>

#include "engine/services.h"
#include "engine/surfaces.h"

namespace kv::engine {
namespace {
constexpr ULONG kColorOnColor = 3;  // the stretching mode of most applications: pixels are dropped, not mixed
}

Driver::Driver() : module_(services()) {
    constexpr ULONG kEngineVersion = 0x30001;
    DRVENABLEDATA data = {};
    if (!module_.enable(kEngineVersion, sizeof data, &data)) throw std::runtime_error("the driver does not load");
    for (ULONG i = 0; i < data.c; ++i) {
        if (data.pdrvfn[i].iFunc < table_.size()) table_[data.pdrvfn[i].iFunc] = data.pdrvfn[i].pfn;
    }
}

Driver::~Driver() { hook<decltype(DrvDisableDriver)>(INDEX_DrvDisableDriver)(); }

Device::Device(Driver& driver, HANDLE printer, const DEVMODEW* mode, const WideString& name)
    : driver_(driver), printer_(printer), name_(name) {
    handle_ = enable(mode);
    if (handle_) enable_surface();
}

Device::~Device() {
    if (!handle_) return;
    disable_surface();
    driver_.hook<decltype(DrvDisablePDEV)>(INDEX_DrvDisablePDEV)(handle_);
}

DHPDEV Device::enable(const DEVMODEW* mode) {
    // A driver may take the device mode's private part for its own only with all its bytes there.
    std::vector<BYTE> copy;
    if (mode) {
        auto* bytes = reinterpret_cast<const BYTE*>(mode);
        copy.assign(bytes, bytes + mode->dmSize + mode->dmDriverExtra);
    }
    std::array<HSURF, 6> patterns{};
    DHPDEV handle = driver_.hook<decltype(DrvEnablePDEV)>(INDEX_DrvEnablePDEV)(
        mode ? reinterpret_cast<DEVMODEW*>(copy.data()) : nullptr, nullptr, static_cast<ULONG>(patterns.size()),
        patterns.data(), sizeof info_, reinterpret_cast<ULONG*>(&info_), sizeof devinfo_, &devinfo_,
        reinterpret_cast<HDEV>(this), name_.data(), printer_);
    if (handle) driver_.hook<decltype(DrvCompletePDEV)>(INDEX_DrvCompletePDEV)(handle, reinterpret_cast<HDEV>(this));
    return handle;
}

bool Device::enable_surface() {
    surface_handle_ = driver_.hook<decltype(DrvEnableSurface)>(INDEX_DrvEnableSurface)(handle_);
    surface_ = surface_of(surface_handle_);
    if (surface_) surface_->dhpdev = handle_;
    return surface_ != nullptr;
}

void Device::disable_surface() {
    surface_ = nullptr;
    if (surface_handle_) driver_.hook<decltype(DrvDisableSurface)>(INDEX_DrvDisableSurface)(handle_);
    surface_handle_ = nullptr;
}

BOOL Device::start_document(const WideString& name, DWORD job_id) {
    WideString text = name;
    return driver_.hook<decltype(DrvStartDoc)>(INDEX_DrvStartDoc)(surface_, text.data(), job_id);
}

BOOL Device::start_page() { return driver_.hook<decltype(DrvStartPage)>(INDEX_DrvStartPage)(surface_); }

BOOL Device::send_page() { return driver_.hook<decltype(DrvSendPage)>(INDEX_DrvSendPage)(surface_); }

BOOL Device::end_document(FLONG flags) { return driver_.hook<decltype(DrvEndDoc)>(INDEX_DrvEndDoc)(surface_, flags); }

ULONG Device::escape(ULONG code, std::span<const BYTE> in, std::span<BYTE> out) {
    std::vector<BYTE> copy(in.begin(), in.end());
    return driver_.hook<decltype(DrvEscape)>(INDEX_DrvEscape)(surface_, code, static_cast<ULONG>(copy.size()),
                                                              copy.empty() ? nullptr : copy.data(),
                                                              static_cast<ULONG>(out.size()), out.data());
}

BOOL Device::reset(const DEVMODEW& mode) {
    const DHPDEV old_handle = handle_;
    const DHPDEV new_handle = enable(&mode);
    if (!new_handle) return FALSE;
    const BOOL moved = driver_.hook<decltype(DrvResetPDEV)>(INDEX_DrvResetPDEV)(old_handle, new_handle);
    disable_surface();
    driver_.hook<decltype(DrvDisablePDEV)>(INDEX_DrvDisablePDEV)(old_handle);
    handle_ = new_handle;
    return enable_surface() && moved;
}

template <class Hook, class... Arguments>
BOOL Device::draw(FLONG flag, ULONG index, Arguments... arguments) {
    if (!surface_ || !(hooks_of(surface_) & flag)) return FALSE;
    return driver_.hook<Hook>(index)(surface_, arguments...);
}

BOOL Device::stroke(Path& path, Clip* clip, Transform* transform, Brush& brush, const LINEATTRS& line, MIX mix) {
    brush.bind(this);
    LINEATTRS attributes = line;
    POINTL origin = {};
    return draw<decltype(DrvStrokePath)>(HOOK_STROKEPATH, INDEX_DrvStrokePath, &path, clip, transform, &brush, &origin,
                                         &attributes, mix);
}

BOOL Device::fill(Path& path, Clip* clip, Brush& brush, FLONG options, MIX mix) {
    brush.bind(this);
    POINTL origin = {};
    return draw<decltype(DrvFillPath)>(HOOK_FILLPATH, INDEX_DrvFillPath, &path, clip, &brush, &origin, mix, options);
}

BOOL Device::stroke_and_fill(Path& path, Clip* clip, Transform* transform, Brush& stroke, const LINEATTRS& line,
                             Brush& fill, FLONG options, MIX mix) {
    stroke.bind(this);
    fill.bind(this);
    LINEATTRS attributes = line;
    POINTL origin = {};
    return draw<decltype(DrvStrokeAndFillPath)>(HOOK_STROKEANDFILLPATH, INDEX_DrvStrokeAndFillPath, &path, clip,
                                                transform, &stroke, &attributes, &fill, &origin, mix, options);
}

BOOL Device::bit_blt(Bitmap* source, Bitmap* mask, Clip* clip, Translation* translation, const RECTL& target,
                     const POINTL* source_at, Brush* brush, ROP4 rop) {
    if (brush) brush->bind(this);
    RECTL target_rect = target;
    POINTL from = source_at ? *source_at : POINTL{}, origin = {};
    return draw<decltype(DrvBitBlt)>(HOOK_BITBLT, INDEX_DrvBitBlt, source, mask, clip, translation, &target_rect,
                                     source_at ? &from : nullptr, nullptr, brush, &origin, rop);
}

BOOL Device::stretch_blt(Bitmap& source, Bitmap* mask, Clip* clip, Translation* translation, const RECTL& target,
                         const RECTL& source_rect) {
    RECTL to = target, from = source_rect;
    POINTL origin = {};
    return draw<decltype(DrvStretchBlt)>(HOOK_STRETCHBLT, INDEX_DrvStretchBlt, &source, mask, clip, translation,
                                         nullptr, &origin, &to, &from, nullptr, kColorOnColor);
}

BOOL Device::stretch_blt_rop(Bitmap& source, Bitmap* mask, Clip* clip, Translation* translation, const RECTL& target,
                             const RECTL& source_rect, Brush* brush, ROP4 rop) {
    if (brush) brush->bind(this);
    RECTL to = target, from = source_rect;
    POINTL origin = {};
    return draw<decltype(DrvStretchBltROP)>(HOOK_STRETCHBLTROP, INDEX_DrvStretchBltROP, &source, mask, clip,
                                            translation, nullptr, &origin, &to, &from, nullptr, kColorOnColor, brush,
                                            rop);
}

BOOL Device::copy_bits(Bitmap& source, Clip* clip, Translation* translation, const RECTL& target, POINTL source_at) {
    RECTL to = target;
    return draw<decltype(DrvCopyBits)>(HOOK_COPYBITS, INDEX_DrvCopyBits, &source, clip, translation, &to, &source_at);
}

BOOL Device::alpha_blend(Bitmap& source, Clip* clip, Translation* translation, const RECTL& target,
                         const RECTL& source_rect, BLENDFUNCTION blend) {
    RECTL to = target, from = source_rect;
    BLENDOBJ object = {blend};
    return draw<decltype(DrvAlphaBlend)>(HOOK_ALPHABLEND, INDEX_DrvAlphaBlend, &source, clip, translation, &to, &from,
                                         &object);
}

BOOL Device::transparent_blt(Bitmap& source, Clip* clip, Translation* translation, const RECTL& target,
                             const RECTL& source_rect, ULONG transparent_colour) {
    RECTL to = target, from = source_rect;
    return draw<decltype(DrvTransparentBlt)>(HOOK_TRANSPARENTBLT, INDEX_DrvTransparentBlt, &source, clip, translation,
                                             &to, &from, transparent_colour, ULONG{0});
}

BOOL Device::read_back(Bitmap& target, Translation* translation, const RECTL& target_rect, POINTL source_at) {
    if (!surface_ || !(hooks_of(surface_) & HOOK_COPYBITS)) return FALSE;
    RECTL to = target_rect;
    return driver_.hook<decltype(DrvCopyBits)>(INDEX_DrvCopyBits)(&target, surface_, nullptr, translation, &to,
                                                                  &source_at);
}

BOOL Device::text_out(String& text, Font& font, Clip* clip, Brush& foreground, const RECTL* opaque, Brush* background,
                      MIX mix) {
    font.bind(&driver_);
    foreground.bind(this);
    if (background) background->bind(this);
    RECTL rect = opaque ? *opaque : RECTL{};
    POINTL origin = {};
    return draw<decltype(DrvTextOut)>(HOOK_TEXTOUT, INDEX_DrvTextOut, &text, &font, clip, nullptr,
                                      opaque ? &rect : nullptr, &foreground, background, &origin, mix);
}

BOOL Device::realize(Brush& brush, Bitmap* pattern, Translation* translation, ULONG hatch) {
    return driver_.hook<decltype(DrvRealizeBrush)>(INDEX_DrvRealizeBrush)(&brush, surface_, pattern, nullptr,
                                                                          translation, hatch);
}

LiveHandles live_handles() { return {live_surfaces(), live_palettes(), Path::live_count()}; }

}  // namespace kv::engine
