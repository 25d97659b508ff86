#include "reader/job_map.h"

#include "reader/inflate.h"

namespace kvjob {
namespace {

// The first word of a body, without the rest of it.
std::optional<uint32_t> identifier_of(const Record& record) {
    constexpr size_t kSize = 4;
    try {
        if (!record.compressed()) return Reader(record.payload).u32();
        return Reader(inflate_start(record.payload, kSize)).u32();
    } catch (const BodyFault&) {
        return std::nullopt;
    }
}

}  // namespace

JobMap::JobMap(Bytes file, uint64_t memory) : file_(file), memory_(memory) {
    expect_magic(file);
    try {
        for (uint64_t at = kMagicSize; at < file.size();) {
            const Record record = read_record(file, at);
            at = record.end(file.data());
            take(record);
        }
    } catch (const Fault& fault) {
        broken_ = fault;
    }
}

void JobMap::take(const Record& record) {
    if (record.type == 5 || record.type == 44) pages_.push_back(record.offset);
    const Body body = type_info(record.type).body;
    Definitions* definitions = body == Body::Brush      ? &brushes_
                               : body == Body::Font     ? &fonts_
                               : body == Body::FontFile ? &font_files_
                                                        : nullptr;
    if (!definitions) return;
    if (body != Body::Brush) font_records_.push_back(record);
    if (const auto id = identifier_of(record)) definitions->emplace(*id, record);
}

}  // namespace kvjob
