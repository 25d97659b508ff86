#include "engine/services.h"

namespace kv::engine {

#define KV_SERVICE(function) \
    { #function, reinterpret_cast < void*>(function) }

std::span<const EngineService> services() {
    static const EngineService kServices[] = {
        KV_SERVICE(EngCreateDeviceSurface),
        KV_SERVICE(EngAssociateSurface),
        KV_SERVICE(EngMarkBandingSurface),
        KV_SERVICE(EngDeleteSurface),
        KV_SERVICE(EngEraseSurface),
        KV_SERVICE(EngCreatePalette),
        KV_SERVICE(EngDeletePalette),
        KV_SERVICE(EngDeletePath),
        KV_SERVICE(BRUSHOBJ_pvAllocRbrush),
        KV_SERVICE(BRUSHOBJ_pvGetRbrush),
        KV_SERVICE(CLIPOBJ_ppoGetPath),
        KV_SERVICE(PATHOBJ_vEnumStart),
        KV_SERVICE(PATHOBJ_bEnum),
        KV_SERVICE(PATHOBJ_vGetBounds),
        KV_SERVICE(FONTOBJ_pifi),
        KV_SERVICE(FONTOBJ_pxoGetXform),
        KV_SERVICE(FONTOBJ_pvTrueTypeFontFile),
        KV_SERVICE(FONTOBJ_pfdg),
        KV_SERVICE(FONTOBJ_cGetGlyphs),
        KV_SERVICE(STROBJ_vEnumStart),
        KV_SERVICE(STROBJ_bEnumPositionsOnly),
        KV_SERVICE(STROBJ_dwGetCodePage),
        KV_SERVICE(XFORMOBJ_bApplyXform),
        KV_SERVICE(XFORMOBJ_iGetXform),
        KV_SERVICE(XLATEOBJ_iXlate),
        KV_SERVICE(XLATEOBJ_cGetPalette),
    };
    return kServices;
}

#undef KV_SERVICE

}  // namespace kv::engine
