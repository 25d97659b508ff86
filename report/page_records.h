#pragma once
// A page's records as the report lists them, and what they say of fonts.

#include <map>
#include <vector>

#include "drawing/font_store.h"
#include "reader/json.h"

namespace kvjob {

// How a font is used on the pages that were looked at.
struct FontUse {
    size_t runs = 0, glyphs = 0;
    std::vector<size_t> pages;  // from 1, the first ones
    TextRun longest;            // of the first runs
};
using FontUses = std::map<uint32_t, FontUse>;  // by definition

// A list of records as record_json has them, with their bounds on the page as "at" where they have some; long lists and
// texts are cut. Records beyond kMostRecords are counted in "more".
inline constexpr size_t kMostRecords = 2000;
inline constexpr size_t kLongestList = 12;
class RecordList {
public:
    // memory: bytes that a record's body may inflate to.
    explicit RecordList(uint64_t memory) : bodies_(memory) {}
    void add(const Record& record, const Rect& place = kEmptyRect);
    Json take();

private:
    Json records_ = Json::array();
    size_t more_ = 0;
    BodyReader bodies_;
};

// The texts in it cut to so many bytes.
Json shortened(Json value, size_t longest_text = 1000);

// Of the page with its start and its end; pages count from 0. Throws Fault where the framing ends.
Json page_records(const JobMap& map, FontStore& fonts, size_t page, FontUses& uses);
// Of the records that belong to no page.
Json document_records(Bytes file, uint64_t memory);

}  // namespace kvjob
