// The escapes by which applications reach the driver beside the drawing calls.

#include <algorithm>
#include <cstring>

#include "driver/guarded_recording.h"
#include "driver/hooks.h"
#include "record/path_escapes.h"
#include "support/assert.h"
#include "support/little_endian.h"
#include "support/process_state.h"

using kv::PDEVICE;

namespace {

// What an application hands over and where it wants the answer.
struct Buffers {
    std::span<const BYTE> in;
    char* out;
    ULONG out_size;

    bool has(size_t bytes) const { return in.data() && in.size() >= bytes; }
};

ULONG query_support(const PDEVICE& device, const Buffers& buffers) {
    if (!buffers.has(sizeof(DWORD))) return 0;
    switch (kv::load_u32(buffers.in.data())) {
        case QUERYESCSUPPORT:
        case PASSTHROUGH:
        case GETTECHNOLOGY:
            return 1;
        case BEGIN_PATH:
        case CLIP_TO_PATH:
        case END_PATH:
            return device.settings.kv.PathEscapes;
        default:
            return 0;
    }
}

ULONG attach_data(PDEVICE& device, const Buffers& buffers) {
    constexpr WORD kNamesAndValues = 2;
    const bool sound = buffers.has(sizeof(WORD) + 1) && kv::load_u16(buffers.in.data()) == kNamesAndValues;
    if (!sound || device.failed || !device.document_open) {
        return static_cast<ULONG>(KV_FAIL(Driver, "%s", sound ? "no document takes the data" : "no names and values"));
    }
    return device.attached.add(buffers.in.subspan(sizeof(WORD)));
}

// A copy that is cut short is terminated and does not end in half a double-byte character.
void copy_technology(char* out, ULONG size) {
    static constexpr char kTechnology[] = "Karvo";
    if (!out || size == 0) return;
    const size_t kept = std::min<size_t>(sizeof kTechnology, size) - 1;
    KV_ASSERT(kept < size);
    std::memcpy(out, kTechnology, kept);
    out[kept] = 0;
    const kv::ProcessState& state = kv::process_state();
    const bool cut = size < sizeof kTechnology && kept > 0;
    if (cut && state.dbcs_enabled && IsDBCSLeadByteEx(state.gui_code_page, static_cast<BYTE>(out[kept - 1]))) {
        out[kept - 1] = 0;
    }
}

ULONG path_escape(PDEVICE& device, ULONG code, const Buffers& buffers) {
    if (!device.settings.kv.PathEscapes) {
        return static_cast<ULONG>(KV_FAIL(Driver, "path escapes are switched off"));
    }
    switch (code) {
        case BEGIN_PATH:
            kv::begin_path(device);
            return 1;
        case CLIP_TO_PATH:
            return buffers.has(2 * sizeof(WORD)) && kv::clip_to_path(device, kv::load_u16(buffers.in.data()));
        default:
            return kv::end_path(device, buffers.in.data(), static_cast<ULONG>(buffers.in.size()));
    }
}

ULONG answer(PDEVICE& device, ULONG code, const Buffers& buffers) {
    constexpr ULONG kTechnologyCopied = 9;  // whatever was copied
    switch (code) {
        case QUERYESCSUPPORT:
            return query_support(device, buffers);
        case PASSTHROUGH:
            return attach_data(device, buffers);
        case GETTECHNOLOGY:
            copy_technology(buffers.out, buffers.out_size);
            return kTechnologyCopied;
        case BEGIN_PATH:
        case CLIP_TO_PATH:
        case END_PATH:
            return path_escape(device, code, buffers);
        default:
            return 0;
    }
}

}  // namespace

ULONG APIENTRY DrvEscape(SURFOBJ* surface, ULONG escape, ULONG in_size, PVOID in, ULONG out_size, PVOID out) {
    PDEVICE* device = PDEVICE::FromSurface(surface, PDEVICE::Outside::AllowNoPage, PDEVICE::Failed::Allow);
    if (!device) return 0;
    const Buffers buffers = {{static_cast<const BYTE*>(in), in ? in_size : 0}, static_cast<char*>(out), out_size};
    ULONG result = 0;
    if (!kv::run_hook(*device, [&] { return result = answer(*device, escape, buffers), TRUE; })) return 0;
    KV_TRACE(Driver, Info, "escape %u, %u bytes: %u", static_cast<unsigned>(escape),
             static_cast<unsigned>(buffers.in.size()), static_cast<unsigned>(result));
    return result;
}
