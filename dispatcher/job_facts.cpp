#include "dispatcher/job_facts.h"

#include <algorithm>

namespace kvdisp12 {
namespace {

enum : uint8_t { kSummary = 21, kDocumentName = 23, kTrailerPosition = 38, kWideIndex = 55 };

// A record's header, from a window of the file's end.
struct Record {
    uint8_t type = 0;
    uint64_t payload = 0, length = 0;  // where it begins in the file, and its bytes
    uint64_t end() const { return payload + length; }
};

uint32_t number_at(const std::vector<uint8_t>& bytes, size_t at, size_t width) {
    uint32_t value = 0;
    for (size_t i = 0; i < width && at + i < bytes.size(); ++i) value |= uint32_t{bytes[at + i]} << (8 * i);
    return value;
}

// Nothing where there is no room for one. Trailers are not compressed.
std::optional<Record> record_at(const JobFile& job, uint64_t offset) {
    const std::vector<uint8_t> head = job.read(offset, 7);
    if (head.size() < 2) return std::nullopt;
    Record record{head[0], offset + 2, head[1]};
    if (head[1] == 0xFE) record = {head[0], offset + 4, number_at(head, 2, 2)};
    if (head[1] == 0xFF) record = {head[0], offset + 7, number_at(head, 3, 4)};
    if (record.end() > job.size() || (head[1] == 0xFF && (head.size() < 7 || head[2] != 0))) return std::nullopt;
    return record;
}

}  // namespace

JobFacts read_facts(const JobFile& job) {
    constexpr size_t kPosition = 6, kSummaryPages = 48, kWidePages = 64, kMostUnits = 256;
    constexpr int kMostRecords = 64;
    JobFacts facts;
    if (job.size() < kPosition) return facts;
    const std::vector<uint8_t> last = job.read(job.size() - kPosition, kPosition);
    if (last.size() < kPosition || last[0] != kTrailerPosition || last[1] != 4) return facts;
    uint64_t at = number_at(last, 2, 4);
    for (int i = 0; i < kMostRecords; ++i) {
        const auto record = record_at(job, at);
        if (!record || (i == 0 && record->type != kSummary)) return facts;
        facts.whole = true;
        if (record->type == kTrailerPosition) return facts;
        if (record->type == kSummary || record->type == kWideIndex) {
            const size_t pages = record->type == kSummary ? kSummaryPages : kWidePages;
            if (record->length >= pages + 4) facts.pages = number_at(job.read(record->payload + pages, 4), 0, 4);
        }
        if (record->type == kDocumentName) {
            const auto units = static_cast<size_t>(std::min<uint64_t>(record->length / 2, kMostUnits));
            const std::vector<uint8_t> text = job.read(record->payload, units * 2);
            facts.name.clear();
            for (size_t unit = 0; unit < units && number_at(text, unit * 2, 2); ++unit) {
                facts.name += static_cast<WCHAR>(number_at(text, unit * 2, 2));
            }
        }
        at = record->end();
    }
    return facts;
}

JobFacts note_source(const JobFile& job, Document& document) {
    JobFacts facts = read_facts(job);
    document.source = job.path();
    document.source_identity = job.identity();
    document.bytes = static_cast<int64_t>(job.size());
    document.pages = facts.pages;
    return facts;
}

}  // namespace kvdisp12
