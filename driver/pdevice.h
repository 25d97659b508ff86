#pragma once
// The device that the graphics engine draws on: the document being recorded (record/document.h), and the settings and
// handles of this device. The document's state moves to another device when the application changes the device mode
// between pages.

#include "platform/ddi.h"
#include "record/document.h"

namespace kv {

struct PDEVICE : Document {
    HDEV engine_device = nullptr;
    HSURF surface = nullptr;

    PDEVICE() : Document(device_mode) {}
    ~PDEVICE();

    // The guard that every recording hook passes first. Null when the surface is not a sound device of this driver,
    // the document has failed or no page is open, each unless allowed.
    enum class Outside { Refuse, AllowNoPage };
    enum class Failed { Refuse, Allow };
    static PDEVICE* FromSurface(const SURFOBJ* surface, Outside outside, Failed after_failure,
                                const char* hook = __builtin_FUNCTION());

    // The working state without which nothing can be recorded. FALSE when memory is out.
    BOOL alloc_working_state();
    // Gives up the document: what is unfinished is deleted.
    void release_document_state();
    // Moves the document of another device here; that one keeps none. FALSE when its held drawing failed.
    BOOL take_document_from(PDEVICE& other);

private:
    DriverDevMode device_mode = {};
};

}  // namespace kv
