#include "dispatcher/job_facts.h"

#include <algorithm>

namespace kvdisp12 {
namespace {

enum : uint8_t {
    kSummary = 21,
    kDocumentName = 23,
    kTrayName = 37,
    kTrailerPosition = 38,
    kAttachedData = 40,
    kPageStartWithData = 44,
    kWideIndex = 55
};
constexpr size_t kMostUnits = 256;  // of a text

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

// The records from the summary on; empty for a job without an end. Its position is the last record.
std::vector<Record> trailer_of(const JobFile& job) {
    constexpr size_t kPosition = 6, kMostRecords = 64;
    std::vector<Record> records;
    if (job.size() < kPosition) return records;
    const std::vector<uint8_t> last = job.read(job.size() - kPosition, kPosition);
    if (last.size() < kPosition || last[0] != kTrailerPosition || last[1] != 4) return records;
    for (uint64_t at = number_at(last, 2, 4); records.size() < kMostRecords; at = records.back().end()) {
        const auto record = record_at(job, at);
        if (!record || (records.empty() && record->type != kSummary) || record->type == kTrailerPosition) break;
        records.push_back(*record);
    }
    return records;
}

// From somewhere in a record's payload up to its terminator.
Text text_in(const JobFile& job, const Record& record, size_t skip) {
    const uint64_t bytes = record.length - std::min<uint64_t>(skip, record.length);
    const auto units = static_cast<size_t>(std::min<uint64_t>(bytes / 2, kMostUnits));
    const std::vector<uint8_t> payload = job.read(record.payload + skip, units * 2);
    Text text;
    for (size_t unit = 0; unit < units && number_at(payload, unit * 2, 2); ++unit) {
        text += static_cast<WCHAR>(number_at(payload, unit * 2, 2));
    }
    return text;
}

// Where the number of pages stands in the summary or the index that has it.
size_t pages_in(const Record& record) { return record.type == kSummary ? 48 : 64; }

// Up to an empty text, or a name without a value.
void read_attached(const JobFile& job, const Record& record, std::map<Text, Text>& attached) {
    for (size_t at = 0; at < record.length;) {
        const Text name = text_in(job, record, at);
        const size_t value_at = at + (name.size() + 1) * 2;
        if (name.empty() || name.size() == kMostUnits || value_at >= record.length) return;
        const Text value = text_in(job, record, value_at);
        at = value_at + (value.size() + 1) * 2;
        if (value.size() == kMostUnits) return;
        attached.emplace(name, value);  // the latest block comes first
    }
}

// The tray that a page names, 0 for none.
uint32_t tray_of_page(const JobFile& job, uint32_t position) {
    constexpr uint8_t kNamesTray = 0x80;
    const auto start = record_at(job, position);
    if (!start || start->type != kPageStartWithData || start->length < 3) return 0;
    const std::vector<uint8_t> data = job.read(start->payload, 3);
    return (number_at(data, 0, 1) & kNamesTray) ? number_at(data, 1, 2) : 0;
}

// The first page's entry of an index; its tray's number.
uint32_t read_first_page(const JobFile& job, const Record& index, JobTicket& ticket) {
    constexpr size_t kResolution = 30, kSize = 8;
    constexpr int64_t kHundredthsOfInch = 2540;  // of a millimetre
    const size_t width = index.type == kSummary ? 2 : 4, entry = pages_in(index) + 4;
    if (index.length < entry + kSize + 2 * width) return 0;
    const std::vector<uint8_t> head = job.read(index.payload, entry + kSize + 2 * width);
    const uint32_t resolution = number_at(head, kResolution, 2);
    const auto length_at = [&](size_t at) {
        const int64_t length = resolution ? number_at(head, at, width) * kHundredthsOfInch / resolution : 0;
        return static_cast<int>(length < 1'000'000 ? length : 0);  // ten metres
    };
    const int across = length_at(entry + kSize), down = length_at(entry + kSize + width);
    ticket.width = std::min(across, down);
    ticket.height = std::max(across, down);
    return tray_of_page(job, number_at(head, entry, 4));
}

}  // namespace

JobFacts read_facts(const JobFile& job) {
    JobFacts facts;
    for (const Record& record : trailer_of(job)) {
        facts.whole = true;
        const size_t pages = pages_in(record);
        const bool counts = record.type == kSummary || record.type == kWideIndex;
        if (counts && record.length >= pages + 4) facts.pages = number_at(job.read(record.payload + pages, 4), 0, 4);
        if (record.type == kDocumentName) facts.name = text_in(job, record, 0);
    }
    return facts;
}

JobTicket read_ticket(const JobFile& job) {
    constexpr size_t kTrayNumber = 4, kTrayText = 6;
    JobTicket ticket;
    uint32_t tray = 0;
    for (const Record& record : trailer_of(job)) {
        if (record.type == kSummary || record.type == kWideIndex) {
            tray = std::max(tray, read_first_page(job, record, ticket));
        } else if (record.type == kAttachedData) {
            read_attached(job, record, ticket.attached);
        } else if (record.type == kTrayName && tray != 0 && record.length > kTrayText &&
                   number_at(job.read(record.payload + kTrayNumber, 2), 0, 2) == tray) {
            ticket.tray = text_in(job, record, kTrayText);
        }
    }
    return ticket;
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
