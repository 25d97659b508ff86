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

BOOL APIENTRY DrvTextOut(SURFOBJ* surface, STROBJ*, FONTOBJ*, CLIPOBJ*, RECTL*, RECTL*, BRUSHOBJ*, BRUSHOBJ*, POINTL*,
                         MIX) {
    return accept(surface);
}
