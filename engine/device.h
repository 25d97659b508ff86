#pragma once
// The graphics engine's hold on a printer driver: the loaded driver, and devices whose hooks it calls.

#include <array>
#include <span>
#include <string>

#include "driver/hooks.h"
#include "engine/objects.h"
#include "engine/text.h"
#include "engine/wide_string.h"
#include "platform/driver_module.h"
#include "settings/device_mode.h"

namespace kv::engine {

// The driver as the engine loads it: everything is reached through the table that DrvEnableDriver hands out.
class Driver {
public:
    // Throws std::runtime_error when the driver refuses to load.
    Driver();
    ~Driver();
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;

    template <class Hook>
    Hook* hook(ULONG index) const {
        return reinterpret_cast<Hook*>(reinterpret_cast<void*>(table_[index]));
    }

private:
    DriverModule module_;
    std::array<PFN, 128> table_{};
};

// One device with its surface, from opening to closing. Hooks are called only where the driver asked for them.
class Device {
public:
    // mode: the application's, or null.
    Device(Driver& driver, HANDLE printer, const DEVMODEW* mode, const WideString& name);
    ~Device();
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    bool is_open() const { return surface_ != nullptr; }
    const GDIINFO& info() const { return info_; }
    const DEVINFO& devinfo() const { return devinfo_; }
    SURFOBJ* surface() const { return surface_; }
    DHPDEV handle() const { return handle_; }

    BOOL start_document(const WideString& name, DWORD job_id);
    BOOL start_page();
    BOOL send_page();
    BOOL end_document(FLONG flags = 0);
    // What an application asks of the driver beside drawing; bytes in and out as the escape defines them.
    ULONG escape(ULONG code, std::span<const BYTE> in, std::span<BYTE> out = {});
    // Another device mode between pages: the driver moves the document to a new device.
    BOOL reset(const DEVMODEW& mode);

    BOOL stroke(Path& path, Clip* clip, Transform* transform, Brush& brush, const LINEATTRS& line,
                MIX mix = R2_COPYPEN);
    BOOL fill(Path& path, Clip* clip, Brush& brush, FLONG options, MIX mix = R2_COPYPEN);
    BOOL stroke_and_fill(Path& path, Clip* clip, Transform* transform, Brush& stroke, const LINEATTRS& line,
                         Brush& fill, FLONG options, MIX mix = R2_COPYPEN);

    // Transfers. Pointers may be null as the interface allows: no source, mask, clip, translation or brush.
    // source_at: the source pixel that comes to the target's left top corner.
    BOOL bit_blt(Bitmap* source, Bitmap* mask, Clip* clip, Translation* translation, const RECTL& target,
                 const POINTL* source_at, Brush* brush, ROP4 rop);
    BOOL stretch_blt(Bitmap& source, Bitmap* mask, Clip* clip, Translation* translation, const RECTL& target,
                     const RECTL& source_rect);
    BOOL stretch_blt_rop(Bitmap& source, Bitmap* mask, Clip* clip, Translation* translation, const RECTL& target,
                         const RECTL& source_rect, Brush* brush, ROP4 rop);
    BOOL copy_bits(Bitmap& source, Clip* clip, Translation* translation, const RECTL& target, POINTL source_at);
    BOOL alpha_blend(Bitmap& source, Clip* clip, Translation* translation, const RECTL& target,
                     const RECTL& source_rect, BLENDFUNCTION blend);
    BOOL transparent_blt(Bitmap& source, Clip* clip, Translation* translation, const RECTL& target,
                         const RECTL& source_rect, ULONG transparent_colour);
    // Copies the device's surface into a bitmap.
    BOOL read_back(Bitmap& target, Translation* translation, const RECTL& target_rect, POINTL source_at);

    // opaque: painted with the background behind the text, or null. The mix's second byte is the background's.
    BOOL text_out(String& text, Font& font, Clip* clip, Brush& foreground, const RECTL* opaque = nullptr,
                  Brush* background = nullptr, MIX mix = R2_COPYPEN << 8 | R2_COPYPEN);

    BOOL realize(Brush& brush, Bitmap* pattern, Translation* translation, ULONG hatch);

private:
    DHPDEV enable(const DEVMODEW* mode);
    bool enable_surface();
    void disable_surface();
    template <class Hook, class... Arguments>
    BOOL draw(FLONG flag, ULONG index, Arguments... arguments);

    Driver& driver_;
    HANDLE printer_;
    WideString name_;
    DHPDEV handle_ = nullptr;
    SURFOBJ* surface_ = nullptr;
    HSURF surface_handle_ = nullptr;
    GDIINFO info_ = {};
    DEVINFO devinfo_ = {};
};

// What drivers made and have not deleted.
struct LiveHandles {
    size_t surfaces, palettes, paths;
    bool operator==(const LiveHandles&) const = default;
};
LiveHandles live_handles();

}  // namespace kv::engine
