#include "reader/names.h"

#include "reader/bodies.h"
#include "reader/index.h"

namespace kvjob {

DocumentNames read_names(Bytes file) {
    constexpr uint8_t kDocument = 23, kApplication = 24, kAttached = 40;
    DocumentNames names;
    for (uint64_t at = summary_position(file); at < file.size();) {
        const Record record = read_record(file, at);
        at = record.end(file.data());
        try {
            if (record.type == kDocument) names.title = read_string(record.payload);
            if (record.type == kApplication) names.application = read_string(record.payload);
            if (record.type != kAttached) continue;
            for (auto& pair : read_attached(record.payload)) names.attached.push_back(std::move(pair));
        } catch (const BodyFault& fault) {
            throw Fault(record.offset, fault.what());
        }
    }
    return names;
}

}  // namespace kvjob
