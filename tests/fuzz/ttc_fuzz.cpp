// Any bytes as a collection: each member leaves the bytes as the split left them.

#include <cstdlib>
#include <memory>

#include "fonts/full_name_reader.h"
#include "fonts/ttc.h"
#include "platform/host/control.h"

namespace kv {
namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

void split(const BYTE* data, size_t size) {
    std::unique_ptr<BYTE[]> bytes(new BYTE[size]), after_split(new BYTE[size]);
    std::copy_n(data, size, bytes.get());
    CTtc fonts;
    fonts.set_data(bytes.get(), static_cast<DWORD>(size));
    std::copy_n(bytes.get(), size, after_split.get());
    // Enough members: damaged collections have thousands of the same.
    int left = 32;
    for (CTtf* member = fonts.first_member(); member && left > 0; member = fonts.next_member(), --left) {
        member->ParseFont();
        member->CharToGlyph(0x41);
        member->SetByteOrder(ByteOrder::File);
        require(std::equal(bytes.get(), bytes.get() + size, after_split.get()));
    }
    left = 32;
    for (CTtf* member = fonts.first_member(); member && left > 0; member = fonts.next_member(), --left) {
        CTtfFullNameReader names;
        require(names.SetFontData(member->image().data(), static_cast<DWORD>(member->image().size()), FALSE,
                                  member->member_offset()));
        names.ParseFont();
        names.SetByteOrder(ByteOrder::File);
    }
}

}  // namespace
}  // namespace kv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    kv::host::set_messages_quiet(true);
    kv::split(data, size);
    return 0;
}
