#pragma once
// Writes a sound job of records of other jobs: identifiers, framing, index and trailer are made anew, and a record that
// would make the job unsound is refused.

#include <functional>
#include <unordered_map>

#include "reader/content_checker.h"
#include "reader/output.h"

namespace kvjob {

// A job that records come from: what its identifiers are in the new one, and where a definition that has not come yet
// is found (not set: nowhere).
struct RecordSource {
    std::unordered_map<uint32_t, uint32_t> brushes, fonts, font_files;
    std::function<const Record*(Body kind, uint32_t id)> find;
};

class JobWriter {
public:
    // memory: bytes that a definition may inflate to.
    JobWriter(Output& out, uint8_t build, uint64_t memory);

    void start_page(std::optional<uint16_t> tray);
    // A record of a page or a definition. Why it was left out; nothing where it stands in the job, or need not.
    std::optional<std::string> add(const Record& record, Bytes body, RecordSource& source);
    void end_page();
    bool in_page() const { return in_page_; }
    const std::vector<SeenPage>& pages() const { return checker_.found().pages; }

    // Names, attached data and trays, in any order; what cannot stand in the trailer is left out.
    void add_name(uint8_t type, Bytes body);
    // The trailer. Of each page: what an index says of it; flags and marks become true here. largest: at least this is
    // announced as the largest record.
    void finish(std::vector<IndexedPage> pages, uint16_t resolution, uint32_t largest);

private:
    using Refusal = std::optional<std::string>;

    Refusal add_definition(const Record& record, Bytes body, RecordSource& source);
    Refusal add_draw_state(DrawState state, RecordSource& source);
    Refusal add_text_state(TextState state, RecordSource& source);
    std::optional<uint32_t> resolved(Body kind, uint32_t id, RecordSource& source);
    uint32_t next_identifier(Body kind);
    Refusal put(uint8_t type, Framing framing, Bytes body, Bytes compressed);
    void write_record(uint8_t type, Framing framing, Bytes payload, uint32_t inflated);
    void write_plain(uint8_t type, Bytes body);

    Output& out_;
    uint64_t memory_;
    uint64_t position_ = 0;
    ContentChecker checker_;
    bool in_page_ = false;
    uint32_t largest_ = 0, largest_image_ = 0;
    uint32_t counters_[3] = {};  // of identifiers behind the first 512 MiB
    std::vector<std::pair<uint8_t, std::vector<uint8_t>>> names_;
};

}  // namespace kvjob
