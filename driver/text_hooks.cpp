// The text hook, and the end of the fonts that it was called with.

#include "driver/guarded_recording.h"
#include "driver/hooks.h"
#include "record/realized_font.h"
#include "record/text_recorder.h"

using kv::PDEVICE;

BOOL APIENTRY DrvTextOut(SURFOBJ* surface, STROBJ* text, FONTOBJ* font, CLIPOBJ* clip, RECTL*, RECTL* opaque_rect,
                         BRUSHOBJ* foreground, BRUSHOBJ* background, POINTL*, MIX) {
    PDEVICE* device = PDEVICE::FromSurface(surface, PDEVICE::Outside::Refuse, PDEVICE::Failed::Refuse);
    if (!device) return FALSE;
    if (!text) return KV_FAIL(Driver, "no text");
    return kv::run_hook(*device, [&] {
        return kv::RecordText(*device, {text, font, clip, opaque_rect, foreground, background});
    });
}

void APIENTRY DrvDestroyFont(FONTOBJ* font) {
    if (!font || !font->pvConsumer) return;
    auto* realized = static_cast<kv::RealizedFont*>(font->pvConsumer);
    font->pvConsumer = nullptr;
    if (kv::guarded_call([&] { kv::destroy_object(realized); })) return;
    SetLastError(ERROR_GEN_FAILURE);
    KV_FAIL(Driver, "an exception while a font is freed");
}
