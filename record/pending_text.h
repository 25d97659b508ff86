#pragma once
// Held-back text: runs of one line that follow each other become one record.

#include "record/pending_draw.h"
#include "record/text_record.h"

namespace kv {

class CPendingText final : public PendingOperation {
public:
    void reset() override { count_ = 0; }
    BOOL offer_text_run(Document& document, const TextRun& run) override;
    BOOL flush(Document& document) override;
    bool is_empty() const override { return count_ == 0; }

private:
    bool continues(const Document& document, const TextRun& run) const;

    TextLayout layout_;
    DWORD count_ = 0;
    bool has_characters_ = false, has_glyphs_ = false;
    bool narrow_ = false, off_baseline_ = false;
    WCHAR characters_[kMostGlyphs];
    WORD glyphs_[kMostGlyphs];
    POINTL positions_[kMostGlyphs + 1];
};

}  // namespace kv
