#pragma once
// Drawing kept for later: what stands between the begin and the end of a clip, group, mask or tile.

#include "engine/device.h"
#include "printhost/letters.h"
#include "printhost/mupdf.h"

namespace kvprint {

class Capture {
public:
    enum class Kind {
        Layer,  // is rendered on nothing
        Group,  // as well, unless it is a single drawing
        Tile,   // of a pattern; without the calls that begin and end it
        Patch,  // its effect on the page is rendered; holds nothing
        Rest,   // of a page, likewise
    };

    Capture(fz_context* context, Kind kind);

    Kind kind() const { return kind_; }
    // Takes calls. A container's begin and end are also told.
    fz_device* device() const { return device_.get(); }
    void begin(bool is_clip);
    // True with the end of the container that began the capture.
    bool end() { return --depth_ == 0; }
    void count_drawing() { ++drawings_; }
    void count_text(const fz_text& text) { count_letters(text, letters_); }
    const LettersOfKinds& letters() const { return letters_; }
    // device pixels of a group or mask within
    void count_group(LONGLONG pixels) { pixels_ += pixels; }
    LONGLONG group_pixels() const { return pixels_; }
    void count_hairline() { ++hairlines_; }
    bool has_hairlines() const { return hairlines_ > 0; }
    // The calls that begin and end the capture are held as well; for the end, while nothing else is open.
    bool holds_begin() const { return kind_ != Kind::Tile; }
    bool holds_end() const { return kind_ != Kind::Tile || depth_ > 1; }
    // One drawing under clips alone.
    bool is_single() const { return drawings_ == 1 && groups_ == 0; }
    bool is_flat() const { return groups_ == 0; }
    size_t drawings() const { return drawings_; }
    // Containers that are open at a time at most.
    size_t depth() const { return static_cast<size_t>(deepest_); }

    void close();
    // Plays what was captured, moved by device pixels.
    void play(fz_device* device, float right = 0, float down = 0) const;

private:
    using List = Held<fz_display_list, fz_drop_display_list>;
    fz_context* context_;
    Kind kind_;
    List list_;
    DrawDevice device_;
    int depth_ = 1, deepest_ = 1;
    LONGLONG pixels_ = 0;
    size_t drawings_ = 0, groups_ = 0, hairlines_ = 0;
    LettersOfKinds letters_;
};

}  // namespace kvprint
