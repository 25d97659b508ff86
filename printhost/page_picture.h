#pragma once
// The page as it looks so far, for what blends with what lies under it: each call of the page is drawn once.

#include <vector>

#include "printhost/rendering.h"

namespace kvprint {

class PagePicture {
public:
    // page: device pixels. scale: device pixels a pixel. The first container is the group of the whole page.
    PagePicture(fz_context* context, const RECTL& page, int scale);

    // A call that draws. What cannot be drawn is missing here as it is on the page.
    void draw(const Draw& call);
    // One that begins a container, and its end. A plain one is a group that changes nothing of what is drawn in it,
    // but for one that knocks out and takes it as one drawing.
    enum class Container { Plain, Knockout, Other };
    void begin(const Draw& call, Container kind);
    void end();
    // On white paper. What lies in open containers is seen, too: they are ended, and begun anew by the next call, so no
    // more of them may be open that blend with what lies under them.
    Renderer::Picture shown(const RECTL& area);

private:
    using List = Held<fz_display_list, fz_drop_display_list>;
    void run(const Draw& call);
    bool open_all();
    void close_down_to(size_t count);
    void put_on_white();

    fz_context* context_;
    int scale_;
    Pixmap pixmap_;  // with alpha, while the page's group is open
    DrawDevice device_;
    std::vector<Container> containers_;  // all that are open, but the page's group
    std::vector<List> open_;             // the calls that began those that are not plain
    size_t begun_ = 0;                   // so many of them are open on the device
    enum class PageGroup { NotYet, Open, Over } page_group_ = PageGroup::NotYet;
};

}  // namespace kvprint
