#pragma once
// The functions that the graphics engine calls: the exported ones, and the hooks handed out in the table.

#include "platform/ddi.h"

extern "C" {
BOOL APIENTRY DrvEnableDriver(ULONG engine_version, ULONG size, DRVENABLEDATA* data);
BOOL APIENTRY DrvQueryDriverInfo(DWORD mode, PVOID buffer, DWORD size, DWORD* needed);
void APIENTRY DrvDisableDriver();

// Device and surface.
DHPDEV APIENTRY DrvEnablePDEV(DEVMODEW* mode, LPWSTR logical_address, ULONG pattern_count, HSURF* patterns,
                              ULONG gdiinfo_size, ULONG* gdiinfo, ULONG devinfo_size, DEVINFO* devinfo,
                              HDEV engine_device, LPWSTR device_name, HANDLE printer);
void APIENTRY DrvCompletePDEV(DHPDEV device, HDEV engine_device);
BOOL APIENTRY DrvResetPDEV(DHPDEV old_device, DHPDEV new_device);
void APIENTRY DrvDisablePDEV(DHPDEV device);
HSURF APIENTRY DrvEnableSurface(DHPDEV device);
void APIENTRY DrvDisableSurface(DHPDEV device);

// Documents and pages.
BOOL APIENTRY DrvStartDoc(SURFOBJ* surface, LPWSTR name, DWORD job_id);
BOOL APIENTRY DrvStartPage(SURFOBJ* surface);
BOOL APIENTRY DrvSendPage(SURFOBJ* surface);
BOOL APIENTRY DrvEndDoc(SURFOBJ* surface, FLONG flags);

// Drawing.
BOOL APIENTRY DrvRealizeBrush(BRUSHOBJ* brush, SURFOBJ* target, SURFOBJ* pattern, SURFOBJ* mask, XLATEOBJ* translation,
                              ULONG hatch);
BOOL APIENTRY DrvStrokePath(SURFOBJ* surface, PATHOBJ* path, CLIPOBJ* clip, XFORMOBJ* transform, BRUSHOBJ* brush,
                            POINTL* brush_origin, LINEATTRS* line, MIX mix);
BOOL APIENTRY DrvFillPath(SURFOBJ* surface, PATHOBJ* path, CLIPOBJ* clip, BRUSHOBJ* brush, POINTL* brush_origin,
                          MIX mix, FLONG options);
BOOL APIENTRY DrvStrokeAndFillPath(SURFOBJ* surface, PATHOBJ* path, CLIPOBJ* clip, XFORMOBJ* transform,
                                   BRUSHOBJ* stroke_brush, LINEATTRS* line, BRUSHOBJ* fill_brush, POINTL* brush_origin,
                                   MIX fill_mix, FLONG options);
BOOL APIENTRY DrvBitBlt(SURFOBJ* target, SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* translation,
                        RECTL* target_rect, POINTL* source_point, POINTL* mask_point, BRUSHOBJ* brush,
                        POINTL* brush_origin, ROP4 rop);
BOOL APIENTRY DrvStretchBlt(SURFOBJ* target, SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* translation,
                            COLORADJUSTMENT* adjustment, POINTL* halftone_origin, RECTL* target_rect,
                            RECTL* source_rect, POINTL* mask_point, ULONG mode);
BOOL APIENTRY DrvStretchBltROP(SURFOBJ* target, SURFOBJ* source, SURFOBJ* mask, CLIPOBJ* clip, XLATEOBJ* translation,
                               COLORADJUSTMENT* adjustment, POINTL* halftone_origin, RECTL* target_rect,
                               RECTL* source_rect, POINTL* mask_point, ULONG mode, BRUSHOBJ* brush, DWORD rop);
BOOL APIENTRY DrvCopyBits(SURFOBJ* target, SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* translation, RECTL* target_rect,
                          POINTL* source_point);
BOOL APIENTRY DrvAlphaBlend(SURFOBJ* target, SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* translation, RECTL* target_rect,
                            RECTL* source_rect, BLENDOBJ* blend);
BOOL APIENTRY DrvTransparentBlt(SURFOBJ* target, SURFOBJ* source, CLIPOBJ* clip, XLATEOBJ* translation,
                                RECTL* target_rect, RECTL* source_rect, ULONG transparent_colour, ULONG reserved);
BOOL APIENTRY DrvTextOut(SURFOBJ* surface, STROBJ* text, FONTOBJ* font, CLIPOBJ* clip, RECTL* extra_rects,
                         RECTL* opaque_rect, BRUSHOBJ* foreground, BRUSHOBJ* background, POINTL* brush_origin, MIX mix);
ULONG APIENTRY DrvEscape(SURFOBJ* surface, ULONG escape, ULONG in_size, PVOID in, ULONG out_size, PVOID out);

// Fonts, and what the driver answers with a constant.
void APIENTRY DrvDestroyFont(FONTOBJ* font);
ULONG APIENTRY DrvDrawEscape(SURFOBJ* surface, ULONG escape, CLIPOBJ* clip, RECTL* rect, ULONG in_size, PVOID in);
ULONG APIENTRY DrvFontManagement(SURFOBJ* surface, FONTOBJ* font, ULONG mode, ULONG in_size, PVOID in, ULONG out_size,
                                 PVOID out);
ULONG APIENTRY DrvGetGlyphMode(DHPDEV device, FONTOBJ* font);
BOOL APIENTRY DrvQueryAdvanceWidths(DHPDEV device, FONTOBJ* font, ULONG mode, HGLYPH* glyphs, PVOID widths,
                                    ULONG count);
PVOID APIENTRY DrvQueryFont(DHPDEV device, ULONG_PTR file, ULONG face, ULONG_PTR* id);
LONG APIENTRY DrvQueryFontData(DHPDEV device, FONTOBJ* font, ULONG mode, HGLYPH glyph, PVOID data, PVOID out,
                               ULONG size);
PVOID APIENTRY DrvQueryFontTree(DHPDEV device, ULONG_PTR file, ULONG face, ULONG mode, ULONG_PTR* id);
}

namespace kv {

// Whether the table holds a hook for a function number.
bool is_hooked(ULONG index);
// The surface hook flags of the table.
FLONG surface_hooks();

}  // namespace kv
