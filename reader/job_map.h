#pragma once
// Where the pages and the definitions of a job stand.

#include <optional>
#include <unordered_map>
#include <vector>

#include "reader/records.h"

namespace kvjob {

class JobMap {
public:
    // Walks the records' headers. memory: bytes that a record's body may inflate to. Throws Fault for a file that is no
    // job; where the framing ends early, what stands before it is kept.
    explicit JobMap(Bytes file, uint64_t memory = kRecordMemory);

    Bytes file() const { return file_; }
    uint64_t memory() const { return memory_; }
    // As body_of, within the memory.
    Bytes body(const Record& record, std::vector<uint8_t>& buffer) const { return body_of(record, buffer, memory_); }
    // File offsets of the pages' start records, in order.
    const std::vector<uint64_t>& pages() const { return pages_; }
    const std::optional<Fault>& broken() const { return broken_; }

    // Definitions by identifier; null where there is none.
    const Record* brush(uint32_t id) const { return find(brushes_, id); }
    const Record* font(uint32_t id) const { return find(fonts_, id); }
    const Record* font_file(uint32_t id) const { return find(font_files_, id); }
    // Of all fonts and files, in the order of the job.
    const std::vector<Record>& font_records() const { return font_records_; }

    // Calls visit for every record of a page, counted from 0, behind its start record and before its end record. Throws
    // Fault where the framing ends.
    template <class Visit>
    void for_each_record(size_t page, Visit visit) const {
        constexpr uint8_t kPageEnd = 6, kDocumentEnd = 3;
        Record record = read_record(file_, pages_[page]);
        const uint64_t limit = page + 1 < pages_.size() ? pages_[page + 1] : file_.size();
        for (uint64_t at = record.end(file_.data()); at < limit; at = record.end(file_.data())) {
            record = read_record(file_, at);
            if (record.type == kPageEnd || record.type == kDocumentEnd) break;
            visit(record);
        }
    }

private:
    using Definitions = std::unordered_map<uint32_t, Record>;
    static const Record* find(const Definitions& definitions, uint32_t id) {
        const auto found = definitions.find(id);
        return found == definitions.end() ? nullptr : &found->second;
    }
    void take(const Record& record);

    Bytes file_;
    uint64_t memory_;
    std::vector<uint64_t> pages_;
    Definitions brushes_, fonts_, font_files_;
    std::vector<Record> font_records_;
    std::optional<Fault> broken_;
};

}  // namespace kvjob
