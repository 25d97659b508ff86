// Any path, whatever blocks it comes in, measured, encoded and captured: the room that was measured is enough for a
// path that stays the same, and what is encoded is a path to the job's reader.

#include "reader/bodies.h"
#include "record/captured_path.h"
#include "tests/fuzz/common/hostile_path.h"

namespace kv {
namespace {

class Parts final : public PathParts {
public:
    BOOL add(const PathView& part) override {
        require(part.head.length > 0);
        return ++count <= 4;
    }
    int count = 0;
};

// Blocks that the engine cannot have made are passed on as they are; the reader may refuse those, and reads no further.
void read_back(const PathView& path) {
    const std::unique_ptr<BYTE[]> body = exact_copy(path.body, path.head.length);
    try {
        kvjob::read_path({body.get(), path.head.length}, path.head.kind == PathKind::Path32);
    } catch (const std::runtime_error&) {
    }
}

void run(FuzzInput& in) {
    const auto use = in.u8() % 2 ? PathUse::Area : PathUse::Lines;
    const bool takes_parts = in.u8() % 2;
    HostilePath path(in);
    PathMetrics metrics = MeasurePath(&path, use);
    PathBuffer buffer;
    if (metrics.size32 < (64u << 20) && buffer.reserve(metrics.size32)) {
        Parts parts;
        if (EncodePath(&path, buffer, metrics, takes_parts ? &parts : nullptr) && buffer.head().length) {
            read_back(buffer.view());
        }
    }
    CapturedPath captured;
    if (!captured.capture(&path) || captured.is_empty()) return;
    captured.for_each_part([](const PathView& part) { read_back(part); });
    captured.last_entry_flags();
}

}  // namespace
}  // namespace kv

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kv::host::set_messages_quiet(true);
    kv::FuzzInput in(data, size);
    kv::run(in);
    return 0;
}
