// Any escapes from an application, with paths that are captured between them.

#include "tests/fuzz/common/hostile_path.h"
#include "tests/fuzz/common/objects.h"
#include "tests/fuzz/common/print_run.h"

namespace kv {
namespace {

void send_escape(FuzzInput& in, PrintRun& print) {
    static constexpr ULONG kCodes[] = {QUERYESCSUPPORT, PASSTHROUGH,  PASSTHROUGH,  GETTECHNOLOGY, BEGIN_PATH,
                                       BEGIN_PATH,      CLIP_TO_PATH, CLIP_TO_PATH, END_PATH,      END_PATH};
    const DWORD which = in.u8();
    const ULONG code = which < 0xF0 ? kCodes[which % std::size(kCodes)] : in.u32();
    std::vector<BYTE> data;
    if (code == PASSTHROUGH && which % 20 == 1) data = {2, 0};
    const std::vector<BYTE> more = in.bytes(in.u8());
    data.insert(data.end(), more.begin(), more.end());
    const auto block = exact_copy(data.data(), data.size());
    const ULONG room = in.u8() % 16;
    const std::unique_ptr<BYTE[]> out(new BYTE[room]);
    const bool none = data.empty() && in.u8() % 2;
    DrvEscape(print.device().surface(), code, none ? in.u32() : static_cast<ULONG>(data.size()),
              none ? nullptr : block.get(), room, room ? out.get() : nullptr);
}

void draw(FuzzInput& in, PrintRun& print) {
    AnyPath path(in);
    if (path.is_hostile()) print.expect_damage();
    const auto clip = take_clip(in);
    BrushWithPattern pattern(in);
    pattern.brush.bind(&print.device());
    POINTL origin = {};
    const DWORD kind = in.u8();
    if (kind % 2) {
        DrvFillPath(print.device().surface(), path.get(), clip.get(), &pattern.brush, &origin, R2_COPYPEN, kind >> 1);
    } else {
        Pen pen(in);
        DrvStrokePath(print.device().surface(), path.get(), clip.get(), nullptr, &pattern.brush, &origin, &pen.line,
                      R2_COPYPEN);
    }
}

void run(FuzzInput& in) {
    PrintRun print(nullptr);
    if (!print.is_open()) return;
    print.start_document(TEXT("Title"), 1);
    print.device().start_page();
    for (int left = 60; left > 0 && !in.empty(); --left) {
        switch (in.u8() % 8) {
            case 0:
                print.device().send_page();
                print.device().start_page();
                break;
            case 1:
                print.end_document(0);
                print.start_document(TEXT("Another"), 2);
                print.device().start_page();
                break;
            case 2:
            case 3:
                draw(in, print);
                break;
            case 4:
                if (in.u8() % 16 == 0) print.fail_call(in);
                break;
            default:
                send_escape(in, print);
        }
    }
    print.end_document(0);
}

}  // namespace
}  // namespace kv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kv::FuzzInput in(data, size);
    kv::run(in);
    return 0;
}
