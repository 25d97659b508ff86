#include "driver/process.h"

#include "fonts/process_fonts.h"
#include "support/process_state.h"
#include "support/product.h"
#include "support/trace.h"

namespace kv {
namespace {

constexpr UINT kJobHeaderString = 10060, kProductNumberString = 10061;

}  // namespace

BOOL attach_process(HINSTANCE module) {
    if (!attach_product(module)) return FALSE;
    ProcessState& state = process_state();
    SetProcessDefaultLayout(0);
    state.header_byte = LOBYTE(resource_number(kJobHeaderString, state.header_byte));
    state.product_number = LOWORD(resource_number(kProductNumberString, state.product_number));
    KV_TRACE(Driver, Info, "system level %d, %s, language %04X, texts of %s", state.os_level,
             TraceText(state.print_environment).c_str(), state.default_language,
             state.resource_library_loaded ? "the library" : "the driver");
    create_process_fonts();  // without memory for it, no font counts as installed
    return TRUE;
}

void detach_process() {
    release_process_fonts();
    detach_product();
}

}  // namespace kv
