// MuPDF's device interface over a page player.

#include "tools/kvprint/page_player.h"

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

// The colour in the surface's order, blue low. What is translucent is blended with the white of the paper.
ULONG device_colour(fz_context* context, fz_device* device, fz_colorspace* space, const float* colour, float alpha,
                    fz_color_params parameters) {
    float rgb[3] = {0, 0, 0};
    if (space) fz_convert_color(context, space, colour, fz_device_rgb(context), rgb, nullptr, parameters);
    if (alpha < 1) player_of(device).count_missing("translucent paths (blended with white)");
    ULONG result = 0;
    for (float component : rgb) {
        const float over_white = component * alpha + (1 - alpha);
        result = result << 8 | static_cast<ULONG>(std::lround(std::clamp(over_white, 0.0f, 1.0f) * 255));
    }
    return result;
}

void fill_path(fz_context* context, fz_device* device, const fz_path* path, int even_odd, fz_matrix ctm,
               fz_colorspace* space, const float* colour, float alpha, fz_color_params parameters) {
    if (!player_of(device).is_drawing()) return;
    const ULONG rgb = device_colour(context, device, space, colour, alpha, parameters);
    as_callback(context, [&] { player_of(device).fill(path, rule_of(even_odd), ctm, rgb); });
}

void stroke_path(fz_context* context, fz_device* device, const fz_path* path, const fz_stroke_state* state,
                 fz_matrix ctm, fz_colorspace* space, const float* colour, float alpha, fz_color_params parameters) {
    if (!player_of(device).is_drawing()) return;
    const ULONG rgb = device_colour(context, device, space, colour, alpha, parameters);
    as_callback(context, [&] { player_of(device).stroke(path, *state, ctm, rgb); });
}

void clip_path(fz_context* context, fz_device* device, const fz_path* path, int even_odd, fz_matrix ctm, fz_rect) {
    as_callback(context, [&] { player_of(device).clip_to_path(path, rule_of(even_odd), ctm); });
}

template <class Draw>
void clip_drawing(fz_context* context, fz_device* device, fz_rect bounds, Draw draw) {
    as_callback(context, [&] { player_of(device).clip_to_drawing(bounds, draw); });
}

void clip_stroke_path(fz_context* context, fz_device* device, const fz_path* path, const fz_stroke_state* state,
                      fz_matrix ctm, fz_rect) {
    clip_drawing(context, device, fz_bound_path(context, path, state, ctm), [&](fz_device* mask) {
        fz_stroke_path(context, mask, path, state, ctm, fz_device_gray(context), kBlack, 1, fz_default_color_params);
    });
}

void clip_text(fz_context* context, fz_device* device, const fz_text* text, fz_matrix ctm, fz_rect) {
    clip_drawing(context, device, fz_bound_text(context, text, nullptr, ctm), [&](fz_device* mask) {
        fz_fill_text(context, mask, text, ctm, fz_device_gray(context), kBlack, 1, fz_default_color_params);
    });
}

void clip_stroke_text(fz_context* context, fz_device* device, const fz_text* text, const fz_stroke_state* state,
                      fz_matrix ctm, fz_rect) {
    clip_drawing(context, device, fz_bound_text(context, text, state, ctm), [&](fz_device* mask) {
        fz_stroke_text(context, mask, text, state, ctm, fz_device_gray(context), kBlack, 1, fz_default_color_params);
    });
}

void clip_image_mask(fz_context* context, fz_device* device, fz_image* image, fz_matrix ctm, fz_rect) {
    clip_drawing(context, device, fz_transform_rect(fz_unit_rect, ctm), [&](fz_device* mask) {
        fz_fill_image_mask(context, mask, image, ctm, fz_device_gray(context), kBlack, 1, fz_default_color_params);
    });
}

void fill_text(fz_context*, fz_device* device, const fz_text*, fz_matrix, fz_colorspace*, const float*, float,
               fz_color_params) {
    player_of(device).count_missing("texts");
}

void stroke_text(fz_context*, fz_device* device, const fz_text*, const fz_stroke_state*, fz_matrix, fz_colorspace*,
                 const float*, float, fz_color_params) {
    player_of(device).count_missing("outlined texts");
}

void fill_shade(fz_context*, fz_device* device, fz_shade*, fz_matrix, float, fz_color_params) {
    player_of(device).count_missing("shadings");
}

void fill_image(fz_context*, fz_device* device, fz_image*, fz_matrix, float, fz_color_params) {
    player_of(device).count_missing("images");
}

void fill_image_mask(fz_context*, fz_device* device, fz_image*, fz_matrix, fz_colorspace*, const float*, float,
                     fz_color_params) {
    player_of(device).count_missing("image masks");
}

void begin_mask(fz_context*, fz_device* device, fz_rect, int, fz_colorspace*, const float*, fz_color_params) {
    player_of(device).count_missing("soft masks");
    player_of(device).hide();
}

// What the mask applies to follows, and is ended like a clip.
void end_mask(fz_context* context, fz_device* device) {
    player_of(device).show();
    as_callback(context, [&] { player_of(device).clip_to_same(); });
}

void begin_group(fz_context*, fz_device* device, fz_rect, fz_colorspace*, int, int, int blend_mode, float alpha) {
    if (blend_mode != FZ_BLEND_NORMAL) player_of(device).count_missing("blend modes");
    if (alpha < 1) player_of(device).count_missing("translucent groups");
}

int begin_tile(fz_context*, fz_device* device, fz_rect, fz_rect, float, float, fz_matrix, int) {
    player_of(device).count_missing("tiled patterns");
    player_of(device).hide();
    return 0;
}

void end_tile(fz_context*, fz_device* device) { player_of(device).show(); }

}  // namespace

fz_device* PagePlayer::make_fz_device() {
    auto* device = reinterpret_cast<PlayerDevice*>(fz_new_device_of_size(context_, sizeof(PlayerDevice)));
    device->player = this;
    fz_device& base = device->base;
    base.fill_path = fill_path;
    base.stroke_path = stroke_path;
    base.clip_path = clip_path;
    base.clip_stroke_path = clip_stroke_path;
    base.clip_text = clip_text;
    base.clip_stroke_text = clip_stroke_text;
    base.clip_image_mask = clip_image_mask;
    base.pop_clip = [](fz_context*, fz_device* self) { player_of(self).pop_clip(); };
    base.fill_text = fill_text;
    base.stroke_text = stroke_text;
    base.fill_shade = fill_shade;
    base.fill_image = fill_image;
    base.fill_image_mask = fill_image_mask;
    base.begin_mask = begin_mask;
    base.end_mask = end_mask;
    base.begin_group = begin_group;
    base.begin_tile = begin_tile;
    base.end_tile = end_tile;
    return &base;
}

}  // namespace kvprint
