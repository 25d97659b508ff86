// MuPDF's device interface over a page player.

#include "printhost/page_player.h"
#include "printhost/warnings.h"

namespace kvprint {
namespace {

struct PlayerDevice {
    fz_device base;
    PagePlayer* player;
};

// What masks are drawn with.
constexpr float kBlack[] = {0};

PagePlayer& player_of(fz_device* device) { return *reinterpret_cast<PlayerDevice*>(device)->player; }

FillRule rule_of(int even_odd) { return even_odd ? FillRule::EvenOdd : FillRule::Winding; }

Paint make_paint(fz_context* context, const PagePlayer& player, fz_colorspace* space, const float* colour, float alpha,
                 fz_color_params parameters) {
    if (player.glyph_paint()) return *player.glyph_paint();
    float rgb[3] = {0, 0, 0};
    if (space) {
        with_errors(context, [&] {
            fz_convert_color(context, space, colour, fz_device_rgb(context), rgb, nullptr, parameters);
        });
    }
    ULONG value = 0;
    for (float component : rgb) {
        value = value << 8 | static_cast<ULONG>(std::lround(std::clamp(component, 0.0f, 1.0f) * 255));
    }
    return {value, alpha * player.alpha()};
}

// Draws a thing; what cannot be drawn is a warning, and the page goes on.
template <class Play>
void play_thing(fz_context* context, PagePlayer& player, const char* thing, Play play) {
    Warnings::Subject subject(warnings_of(context), thing);
    try {
        play(player);
    } catch (const std::exception&) {
        subject.fail("not drawn");
    }
}

// A mask that is held is for something else than its image.
void settle_mask(fz_context* context, PagePlayer& player) {
    if (!player.holds_mask()) return;
    bool captures = false;
    play_thing(context, player, "soft mask", [&](PagePlayer& to) { captures = to.settle_mask(); });
    if (captures) player.clip_to_held_mask(player.capturing());
}

// A call that draws: again(target) makes it once more on another device, play() plays it.
// True when it was passed on instead.
template <class Again, class Play>
bool draw(fz_context* context, fz_device* device, const char* thing, Again again, Play play) {
    PagePlayer& player = player_of(device);
    settle_mask(context, player);
    const bool captured = player.pass_on_drawing(again);
    if (!captured) play_thing(context, player, thing, play);
    return captured;
}

// A call that begins a clip or another container: play() tells whether a capture began.
template <class Again, class Play>
void begin(fz_context* context, fz_device* device, bool is_clip, Again again, Play play,
           PagePicture::Container kind = PagePicture::Container::Other) {
    PagePlayer& player = player_of(device);
    settle_mask(context, player);
    if (player.pass_on_begin(is_clip, kind, again)) return;
    bool captures = false, failed = true;
    play_thing(context, player, is_clip ? "clip" : "group", [&](PagePlayer& to) {
        captures = play(to);
        failed = false;
    });
    if (failed && is_clip) player.clip_to_nothing();
    if (captures && player.capturing()) again(player.capturing());
}

template <class Again, class Play>
void end(fz_context* context, fz_device* device, Again again, Play play) {
    PagePlayer& player = player_of(device);
    if (player.pass_on_end(again)) {
        play_thing(context, player, "group", [](PagePlayer& to) { to.end_captured(); });
    } else {
        play(player);
    }
}

void fill_path(fz_context* context, fz_device* device, const fz_path* path, int even_odd, fz_matrix ctm,
               fz_colorspace* space, const float* colour, float alpha, fz_color_params parameters) {
    draw(
        context, device, "drawing",
        [&](fz_device* to) { fz_fill_path(context, to, path, even_odd, ctm, space, colour, alpha, parameters); },
        [&](PagePlayer& player) {
            player.fill(path, rule_of(even_odd), ctm, make_paint(context, player, space, colour, alpha, parameters));
        });
}

// A stroke as it is drawn: a negative width counts as its absolute value.
class Stroke {
public:
    Stroke(fz_context* context, const fz_stroke_state* state) : state_(state) {
        if (!(state->linewidth < 0)) return;
        try {
            own_ = make_held<Own>(context, [&] {
                return fz_clone_stroke_state(context, const_cast<fz_stroke_state*>(state));  // which it does not change
            });
            own_.get()->linewidth = -state->linewidth;
            state_ = own_.get();
        } catch (const LibraryFault&) {  // no memory: the thinnest line, as it stands
        }
    }
    const fz_stroke_state* get() const { return state_; }

private:
    static void drop(fz_context* context, fz_stroke_state* state) { fz_drop_stroke_state(context, state); }
    using Own = Held<fz_stroke_state, drop>;
    const fz_stroke_state* state_;
    Own own_;
};

void stroke_path(fz_context* context, fz_device* device, const fz_path* path, const fz_stroke_state* given,
                 fz_matrix ctm, fz_colorspace* space, const float* colour, float alpha, fz_color_params parameters) {
    const Stroke stroke(context, given);
    const fz_stroke_state* const state = stroke.get();
    const bool captured = draw(
        context, device, "drawing",
        [&](fz_device* to) { fz_stroke_path(context, to, path, state, ctm, space, colour, alpha, parameters); },
        [&](PagePlayer& player) {
            player.stroke(path, *state, ctm, make_paint(context, player, space, colour, alpha, parameters));
        });
    if (captured && alpha == 1) player_of(device).note_captured_stroke(*state, ctm);
}

void fill_text(fz_context* context, fz_device* device, const fz_text* text, fz_matrix ctm, fz_colorspace* space,
               const float* colour, float alpha, fz_color_params parameters) {
    const bool captured = draw(
        context, device, "text",
        [&](fz_device* to) { fz_fill_text(context, to, text, ctm, space, colour, alpha, parameters); },
        [&](PagePlayer& player) {
            player.fill_text(text, ctm, make_paint(context, player, space, colour, alpha, parameters));
        });
    if (captured) player_of(device).note_captured(*text);
}

void stroke_text(fz_context* context, fz_device* device, const fz_text* text, const fz_stroke_state* given,
                 fz_matrix ctm, fz_colorspace* space, const float* colour, float alpha, fz_color_params parameters) {
    const Stroke stroke(context, given);
    const fz_stroke_state* const state = stroke.get();
    const bool captured = draw(
        context, device, "text",
        [&](fz_device* to) { fz_stroke_text(context, to, text, state, ctm, space, colour, alpha, parameters); },
        [&](PagePlayer& player) {
            player.stroke_text(text, *state, ctm, make_paint(context, player, space, colour, alpha, parameters));
        });
    if (captured) player_of(device).note_captured(*text);
}

void fill_shade(fz_context* context, fz_device* device, fz_shade* shade, fz_matrix ctm, float alpha,
                fz_color_params parameters) {
    draw(
        context, device, "shading", [&](fz_device* to) { fz_fill_shade(context, to, shade, ctm, alpha, parameters); },
        [&](PagePlayer& player) { player.shade(shade, ctm, alpha * player.alpha(), parameters); });
}

// How an image's data are coded, where that has a name.
const char* coding_of(fz_context* context, fz_image* image) {
    const fz_compressed_buffer* data = fz_compressed_image_buffer(context, image);
    switch (data ? data->params.type : FZ_IMAGE_UNKNOWN) {
        case FZ_IMAGE_JBIG2:
            return "JBIG2";
        case FZ_IMAGE_JPX:
            return "JPEG 2000";
        case FZ_IMAGE_JPEG:
            return "JPEG";
        case FZ_IMAGE_FAX:
            return "fax";
        case FZ_IMAGE_FLATE:
            return "Flate";
        case FZ_IMAGE_LZW:
            return "LZW";
        case FZ_IMAGE_RLD:
            return "run lengths";
        default:
            return nullptr;
    }
}

void fill_image(fz_context* context, fz_device* device, fz_image* image, fz_matrix ctm, float alpha,
                fz_color_params parameters) {
    PagePlayer& player = player_of(device);
    if (!player.is_mask_of(image)) settle_mask(context, player);
    if (player.pass_on_drawing([&](fz_device* to) { fz_fill_image(context, to, image, ctm, alpha, parameters); }))
        return;
    Warnings::Subject subject(warnings_of(context), "image", coding_of(context, image));
    try {
        player.image(image, ctm, alpha * player.alpha(), parameters);
    } catch (const std::exception&) {
        subject.fail("not decoded");
    }
}

void fill_image_mask(fz_context* context, fz_device* device, fz_image* image, fz_matrix ctm, fz_colorspace* space,
                     const float* colour, float alpha, fz_color_params parameters) {
    draw(
        context, device, "image mask",
        [&](fz_device* to) { fz_fill_image_mask(context, to, image, ctm, space, colour, alpha, parameters); },
        [&](PagePlayer& player) {
            player.stencil(image, ctm, make_paint(context, player, space, colour, alpha, parameters));
        });
}

void clip_path(fz_context* context, fz_device* device, const fz_path* path, int even_odd, fz_matrix ctm,
               fz_rect scissor) {
    begin(
        context, device, true, [&](fz_device* to) { fz_clip_path(context, to, path, even_odd, ctm, scissor); },
        [&](PagePlayer& player) { return !player.clip_to_path(path, rule_of(even_odd), ctm); });
}

void clip_stroke_path(fz_context* context, fz_device* device, const fz_path* path, const fz_stroke_state* given,
                      fz_matrix ctm, fz_rect scissor) {
    const Stroke stroke(context, given);
    const fz_stroke_state* const state = stroke.get();
    begin(
        context, device, true, [&](fz_device* to) { fz_clip_stroke_path(context, to, path, state, ctm, scissor); },
        [&](PagePlayer& player) {
            return !player.clip_to_drawing(fz_bound_path(context, path, state, ctm), [&](fz_device* mask) {
                fz_stroke_path(context, mask, path, state, ctm, fz_device_gray(context), kBlack, 1,
                               fz_default_color_params);
            });
        });
}

void clip_text(fz_context* context, fz_device* device, const fz_text* text, fz_matrix ctm, fz_rect scissor) {
    begin(
        context, device, true, [&](fz_device* to) { fz_clip_text(context, to, text, ctm, scissor); },
        [&](PagePlayer& player) { return !player.clip_to_text(text, ctm); });
}

void clip_stroke_text(fz_context* context, fz_device* device, const fz_text* text, const fz_stroke_state* given,
                      fz_matrix ctm, fz_rect scissor) {
    const Stroke stroke(context, given);
    const fz_stroke_state* const state = stroke.get();
    begin(
        context, device, true, [&](fz_device* to) { fz_clip_stroke_text(context, to, text, state, ctm, scissor); },
        [&](PagePlayer& player) {
            return !player.clip_to_drawing(fz_bound_text(context, text, state, ctm), [&](fz_device* mask) {
                fz_stroke_text(context, mask, text, state, ctm, fz_device_gray(context), kBlack, 1,
                               fz_default_color_params);
            });
        });
}

void clip_image_mask(fz_context* context, fz_device* device, fz_image* image, fz_matrix ctm, fz_rect scissor) {
    begin(
        context, device, true, [&](fz_device* to) { fz_clip_image_mask(context, to, image, ctm, scissor); },
        [&](PagePlayer& player) {
            player.hold_mask(image, ctm);
            return false;
        });
}

void pop_clip(fz_context* context, fz_device* device) {
    end(
        context, device, [&](fz_device* to) { fz_pop_clip(context, to); },
        [](PagePlayer& player) {
            player.drop_mask();
            player.pop_clip();
        });
}

void begin_mask(fz_context* context, fz_device* device, fz_rect area, int luminosity, fz_colorspace* space,
                const float* backdrop, fz_color_params parameters) {
    begin(
        context, device, false,
        [&](fz_device* to) { fz_begin_mask(context, to, area, luminosity, space, backdrop, parameters); },
        [&](PagePlayer& player) {
            player.begin_mask(area);
            return true;
        });
}

// What the mask applies to follows, and is ended like a clip.
void end_mask(fz_context* context, fz_device* device) {
    player_of(device).pass_on([&](fz_device* to) { fz_end_mask(context, to); });
}

void begin_group(fz_context* context, fz_device* device, fz_rect area, fz_colorspace* space, int isolated, int knockout,
                 int blend_mode, float alpha) {
    player_of(device).count_group();
    // Where nothing blends both kinds look alike, and MuPDF draws this one right on nothing.
    if (!player_of(device).shows_page()) isolated = 1;
    begin(
        context, device, false,
        [&](fz_device* to) { fz_begin_group(context, to, area, space, isolated, knockout, blend_mode, alpha); },
        [&](PagePlayer& player) { return player.begin_group(area, knockout, blend_mode, alpha); },
        player_of(device).kind_of_group(knockout, blend_mode, alpha));
}

void end_group(fz_context* context, fz_device* device) {
    end(
        context, device, [&](fz_device* to) { fz_end_group(context, to); }, [](PagePlayer&) {});
}

int begin_tile(fz_context* context, fz_device* device, fz_rect area, fz_rect view, float across, float down,
               fz_matrix ctm, int) {
    PagePlayer::Tiling tiling = {area, view, across, down, ctm};
    if (player_of(device).thin_out(tiling)) warnings_of(context).add("pattern of too many cells drawn with fewer");
    begin(
        context, device, false,
        [&](fz_device* to) {
            fz_begin_tile(context, to, tiling.area, tiling.view, tiling.across, tiling.down, tiling.ctm);
        },
        [&](PagePlayer& player) {
            player.begin_tile(tiling);
            return true;
        });
    return 0;
}

void end_tile(fz_context* context, fz_device* device) {
    end(
        context, device, [&](fz_device* to) { fz_end_tile(context, to); }, [](PagePlayer&) {});
}

fz_device* make_device(fz_context* context, PagePlayer* player) {
    auto* device = reinterpret_cast<PlayerDevice*>(fz_new_device_of_size(context, sizeof(PlayerDevice)));
    device->player = player;
    fz_device& base = device->base;
    base.fill_path = fill_path;
    base.stroke_path = stroke_path;
    base.clip_path = clip_path;
    base.clip_stroke_path = clip_stroke_path;
    base.clip_text = clip_text;
    base.clip_stroke_text = clip_stroke_text;
    base.clip_image_mask = clip_image_mask;
    base.pop_clip = pop_clip;
    base.fill_text = fill_text;
    base.stroke_text = stroke_text;
    base.fill_shade = fill_shade;
    base.fill_image = fill_image;
    base.fill_image_mask = fill_image_mask;
    base.begin_mask = begin_mask;
    base.end_mask = end_mask;
    base.begin_group = begin_group;
    base.end_group = end_group;
    base.begin_tile = begin_tile;
    base.end_tile = end_tile;
    return &base;
}

}  // namespace

PagePlayer::PagePlayer(fz_context* context, Canvas& canvas, FontStore& fonts, float resolution, size_t memory,
                       TextList* list)
    : context_(context),
      canvas_(canvas),
      fonts_(fonts),
      list_(list),
      memory_(memory),
      renderer_(context, resolution, memory),
      device_(make_held<DrawDevice>(context, [&] { return make_device(context, this); })) {}

}  // namespace kvprint
