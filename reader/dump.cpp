#include "reader/dump.h"

#include "reader/record_fields.h"

namespace kvjob {

void for_each_record(Bytes file, const WantedPages& pages, const std::function<void(const Record&)>& visit) {
    constexpr uint8_t kStreamEnd = 0, kDocumentEnd = 3, kPageStart = 5, kPageEnd = 6, kPageStartWithData = 44;
    expect_magic(file);
    size_t current = 0;
    bool in_page = false;
    for (uint64_t at = kMagicSize; at < file.size();) {
        const Record record = read_record(file, at);
        at = record.end(file.data());
        if (record.type == kPageStart || record.type == kPageStartWithData) {
            ++current;
            in_page = true;
        }
        if (record.type == kDocumentEnd || record.type == kStreamEnd) in_page = false;
        if (!pages || (in_page && pages->contains(current))) visit(record);
        if (record.type == kPageEnd) in_page = false;
        if (pages && !in_page && (pages->empty() || current >= *pages->rbegin())) break;
    }
}

void dump_job(Bytes file, const WantedPages& pages, std::FILE* out, uint64_t memory) {
    BodyReader bodies(memory);
    for_each_record(file, pages, [&](const Record& record) {
        Fields fields(Fields::Form::Line);
        show_record(record, bodies, fields);
        std::fprintf(out, "%08llX %3u %s:%s\n", static_cast<unsigned long long>(record.offset), record.type,
                     type_info(record.type).name, fields.text().c_str());
    });
}

}  // namespace kvjob
