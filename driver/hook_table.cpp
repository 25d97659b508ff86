// The exported functions of the driver and the table of its hooks.

#include <array>
#include <cstring>

#include "driver/hooks.h"
#include "support/assert.h"
#include "support/trace.h"

namespace kv {
namespace {

template <class Hook>
PFN as_pfn(Hook hook) {
    return reinterpret_cast<PFN>(reinterpret_cast<void*>(hook));
}

std::array<DRVFN, 31>& hook_table() {
    static std::array<DRVFN, 31> table = {{
        {INDEX_DrvAlphaBlend, as_pfn(DrvAlphaBlend)},
        {INDEX_DrvBitBlt, as_pfn(DrvBitBlt)},
        {INDEX_DrvCompletePDEV, as_pfn(DrvCompletePDEV)},
        {INDEX_DrvCopyBits, as_pfn(DrvCopyBits)},
        {INDEX_DrvDestroyFont, as_pfn(DrvDestroyFont)},
        {INDEX_DrvDisableDriver, as_pfn(DrvDisableDriver)},
        {INDEX_DrvDisablePDEV, as_pfn(DrvDisablePDEV)},
        {INDEX_DrvDisableSurface, as_pfn(DrvDisableSurface)},
        {INDEX_DrvDrawEscape, as_pfn(DrvDrawEscape)},
        {INDEX_DrvEnablePDEV, as_pfn(DrvEnablePDEV)},
        {INDEX_DrvEnableSurface, as_pfn(DrvEnableSurface)},
        {INDEX_DrvEndDoc, as_pfn(DrvEndDoc)},
        {INDEX_DrvEscape, as_pfn(DrvEscape)},
        {INDEX_DrvFillPath, as_pfn(DrvFillPath)},
        {INDEX_DrvFontManagement, as_pfn(DrvFontManagement)},
        {INDEX_DrvGetGlyphMode, as_pfn(DrvGetGlyphMode)},
        {INDEX_DrvQueryAdvanceWidths, as_pfn(DrvQueryAdvanceWidths)},
        {INDEX_DrvQueryFont, as_pfn(DrvQueryFont)},
        {INDEX_DrvQueryFontData, as_pfn(DrvQueryFontData)},
        {INDEX_DrvQueryFontTree, as_pfn(DrvQueryFontTree)},
        {INDEX_DrvRealizeBrush, as_pfn(DrvRealizeBrush)},
        {INDEX_DrvResetPDEV, as_pfn(DrvResetPDEV)},
        {INDEX_DrvSendPage, as_pfn(DrvSendPage)},
        {INDEX_DrvStartDoc, as_pfn(DrvStartDoc)},
        {INDEX_DrvStartPage, as_pfn(DrvStartPage)},
        {INDEX_DrvStretchBlt, as_pfn(DrvStretchBlt)},
        {INDEX_DrvStretchBltROP, as_pfn(DrvStretchBltROP)},
        {INDEX_DrvStrokeAndFillPath, as_pfn(DrvStrokeAndFillPath)},
        {INDEX_DrvStrokePath, as_pfn(DrvStrokePath)},
        {INDEX_DrvTextOut, as_pfn(DrvTextOut)},
        {INDEX_DrvTransparentBlt, as_pfn(DrvTransparentBlt)},
    }};
    return table;
}

}  // namespace

bool is_hooked(ULONG index) {
    for (const DRVFN& entry : hook_table()) {
        if (entry.iFunc == index) return true;
    }
    return false;
}

FLONG surface_hooks() {
    static constexpr struct {
        ULONG index;
        FLONG flag;
    } kFlags[] = {
        {INDEX_DrvBitBlt, HOOK_BITBLT},
        {INDEX_DrvStretchBlt, HOOK_STRETCHBLT},
        {INDEX_DrvPlgBlt, HOOK_PLGBLT},
        {INDEX_DrvTextOut, HOOK_TEXTOUT},
        {INDEX_DrvStrokePath, HOOK_STROKEPATH},
        {INDEX_DrvFillPath, HOOK_FILLPATH},
        {INDEX_DrvStrokeAndFillPath, HOOK_STROKEANDFILLPATH},
        {INDEX_DrvLineTo, HOOK_LINETO},
        {INDEX_DrvCopyBits, HOOK_COPYBITS},
        {INDEX_DrvStretchBltROP, HOOK_STRETCHBLTROP},
        {INDEX_DrvTransparentBlt, HOOK_TRANSPARENTBLT},
        {INDEX_DrvAlphaBlend, HOOK_ALPHABLEND},
        {INDEX_DrvGradientFill, HOOK_GRADIENTFILL},
    };
    FLONG hooks = 0;
    for (const auto& [index, flag] : kFlags) {
        if (is_hooked(index)) hooks |= flag;
    }
    return hooks;
}

}  // namespace kv

BOOL APIENTRY DrvEnableDriver(ULONG engine_version, ULONG size, DRVENABLEDATA* data) {
    constexpr ULONG kOldestEngine = 0x20000, kDriverVersion = 0x30000;
    if (engine_version < kOldestEngine) {
        SetLastError(ERROR_BAD_DRIVER_LEVEL);
        return KV_FAIL(Driver, "engine version %X", static_cast<unsigned>(engine_version));
    }
    if (!data || size < sizeof *data) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return KV_FAIL(Driver, "%u bytes for the table", static_cast<unsigned>(size));
    }
    auto& table = kv::hook_table();
    KV_ASSERT(table.back().iFunc == INDEX_DrvTransparentBlt && table.back().pfn);
    *data = {kDriverVersion, static_cast<ULONG>(table.size()), table.data()};
    std::memset(data + 1, 0, size - sizeof *data);
    SetLastError(ERROR_SUCCESS);
    return TRUE;
}

BOOL APIENTRY DrvQueryDriverInfo(DWORD mode, PVOID buffer, DWORD size, DWORD* needed) {
    constexpr DWORD kRunsInUserMode = 1;
    if (mode != DRVQUERY_USERMODE) {
        if (buffer && size) std::memset(buffer, 0, size);
        SetLastError(ERROR_INVALID_PARAMETER);
        return KV_FAIL(Driver, "mode %u", static_cast<unsigned>(mode));
    }
    if (needed) *needed = sizeof kRunsInUserMode;
    if (!buffer || size < sizeof kRunsInUserMode) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return KV_FAIL(Driver, "%u bytes for the answer", static_cast<unsigned>(size));
    }
    std::memcpy(buffer, &kRunsInUserMode, sizeof kRunsInUserMode);
    SetLastError(ERROR_SUCCESS);
    return TRUE;
}

void APIENTRY DrvDisableDriver() { SetLastError(ERROR_SUCCESS); }
