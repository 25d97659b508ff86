#pragma once
// Validates the bodies of a document's pages and definitions against each other and against the page index.

#include <unordered_set>

#include "reader/bodies.h"
#include "reader/index.h"
#include "reader/records.h"
#include "reader/text_bodies.h"

namespace kvjob {

enum PageFlag : uint8_t { kReadsDestination = 0x01, kNamesTray = 0x04, kHasMarks = 0x08, kTransparency = 0x20 };

// A page as its records show it.
struct SeenPage {
    uint64_t offset;
    uint8_t flags = 0;           // that must be set
    uint8_t possible_flags = 0;  // that may be set besides
    Rect drawn = kEmptyRect;     // without texts
};

// What the records before the trailer hold, as the summary must tell it.
struct Found {
    std::vector<SeenPage> pages;
    uint32_t brushes = 0, fonts = 0, font_files = 0, largest_entry = 0, largest_clip = 0;
    uint32_t largest_image = 0;     // record length with which an image counts
    bool uncounted_images = false;  // some count in a way that the job does not tell
    bool names_tray = false;
};

class ContentChecker {
public:
    // The pages as the trailer announces them; empty where that cannot be read.
    explicit ContentChecker(std::vector<IndexedPage> announced) : announced_(std::move(announced)) {}

    void start_page(uint64_t offset);
    // A record of a page or a definition. Throws BodyFault.
    void check(const Record& record, Bytes body);
    // The same for whoever writes a job: a record that is refused, with the reason, counts as not there.
    std::optional<std::string> refuses(const Record& record, Bytes body);
    bool repeats_clip(uint8_t type, Bytes body) const;
    const DrawState& state() const { return state_; }
    const TextState& text() const { return text_; }
    const Found& found() const { return found_; }

private:
    // The current clip as the reader of the job keeps it.
    struct Clip {
        uint8_t type = 10;
        std::vector<uint8_t> body;
    };

    void check_clip(const Record& record, Bytes body);
    void check_brush(const Record& record, Bytes body);
    void check_font(const Record& record, Bytes body);
    void check_font_file(const Record& record, Bytes body);
    void check_text_state(const TextState& next);
    void check_text(const TextRun& run, bool wide) const;
    void check_state(const DrawState& next);
    void check_path(uint8_t type, Bytes body, bool wide);
    void check_rect_fill(const RectFill& fill, bool wide);
    void check_image(const Record& record, Bytes body, const TypeInfo& info);
    void check_blend(const Image& image);

    void check_identifier(const Record& record, uint32_t id, std::unordered_set<uint32_t>& known);
    void check_brush_reference(uint32_t id) const;
    void check_drawn(const Rect& rect);
    void expect_fill_brush(uint8_t rop3) const;
    void require_flag(uint8_t flag);
    void allow_flag(uint8_t flag);

    std::vector<IndexedPage> announced_;
    Found found_;
    std::unordered_set<uint32_t> brush_ids_, font_ids_, font_file_ids_;
    Clip clip_;
    DrawState state_;  // its change bits say which fields are known on the page
    TextState text_;   // likewise
};

}  // namespace kvjob
