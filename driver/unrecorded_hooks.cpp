// Hooks whose drawing the job does not carry yet: they pass the guard, record nothing and succeed, so that the
// document around them is kept.

#include "driver/hooks.h"
#include "driver/pdevice.h"

using kv::PDEVICE;

namespace {

BOOL accept(const SURFOBJ* surface) {
    return PDEVICE::FromSurface(surface, PDEVICE::Outside::Refuse, PDEVICE::Failed::Refuse) != nullptr;
}

}  // namespace

BOOL APIENTRY DrvBitBlt(SURFOBJ* target, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, POINTL*, POINTL*, BRUSHOBJ*,
                        POINTL*, ROP4) {
    return accept(target);
}

BOOL APIENTRY DrvStretchBlt(SURFOBJ* target, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, COLORADJUSTMENT*, POINTL*, RECTL*,
                            RECTL*, POINTL*, ULONG) {
    return accept(target);
}

BOOL APIENTRY DrvStretchBltROP(SURFOBJ* target, SURFOBJ*, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, COLORADJUSTMENT*, POINTL*,
                               RECTL*, RECTL*, POINTL*, ULONG, BRUSHOBJ*, DWORD) {
    return accept(target);
}

BOOL APIENTRY DrvCopyBits(SURFOBJ* target, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, POINTL*) { return accept(target); }

BOOL APIENTRY DrvAlphaBlend(SURFOBJ* target, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, RECTL*, BLENDOBJ*) {
    return accept(target);
}

BOOL APIENTRY DrvTransparentBlt(SURFOBJ* target, SURFOBJ*, CLIPOBJ*, XLATEOBJ*, RECTL*, RECTL*, ULONG, ULONG) {
    return accept(target);
}

BOOL APIENTRY DrvTextOut(SURFOBJ* surface, STROBJ*, FONTOBJ*, CLIPOBJ*, RECTL*, RECTL*, BRUSHOBJ*, BRUSHOBJ*, POINTL*,
                         MIX) {
    return accept(surface);
}
