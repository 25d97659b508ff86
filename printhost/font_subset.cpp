#include "printhost/font_subset.h"

#include <algorithm>

#include "printhost/hb_handles.h"

namespace kvprint {
namespace {

using Input = std::unique_ptr<hb_subset_input_t, HbDestroy>;
using Plan = std::unique_ptr<hb_subset_plan_t, HbDestroy>;

HbFace open_face(std::span<const uint8_t> file, unsigned member) {
    const HbBlob blob(hb_blob_create(reinterpret_cast<const char*>(file.data()), static_cast<unsigned>(file.size()),
                                     HB_MEMORY_MODE_READONLY, nullptr, nullptr));
    return member < hb_face_count(blob.get()) ? HbFace(hb_face_create(blob.get(), member)) : nullptr;
}

std::vector<hb_tag_t> tables_of(hb_face_t* face) {
    unsigned count = hb_face_get_table_tags(face, 0, nullptr, nullptr);
    std::vector<hb_tag_t> tags(count);
    hb_face_get_table_tags(face, 0, &count, tags.data());
    tags.resize(count);
    return tags;
}

bool stays(hb_tag_t tag) {
    constexpr hb_tag_t kTables[] = {HB_TAG('C', 'F', 'F', ' '), HB_TAG('O', 'S', '/', '2'), HB_TAG('c', 'v', 't', ' '),
                                    HB_TAG('f', 'p', 'g', 'm'), HB_TAG('g', 'l', 'y', 'f'), HB_TAG('h', 'e', 'a', 'd'),
                                    HB_TAG('h', 'h', 'e', 'a'), HB_TAG('h', 'm', 't', 'x'), HB_TAG('l', 'o', 'c', 'a'),
                                    HB_TAG('m', 'a', 'x', 'p'), HB_TAG('p', 'r', 'e', 'p')};
    return std::find(std::begin(kTables), std::end(kTables), tag) != std::end(kTables);
}

}  // namespace

FontSubset make_subset(std::span<const uint8_t> file, unsigned member, const std::vector<uint16_t>& glyphs,
                       bool keep_instructions) {
    const HbFace face = open_face(file, member);
    const Input input(hb_subset_input_create_or_fail());
    if (!face || !input) return {};
    hb_set_t* dropped = hb_subset_input_set(input.get(), HB_SUBSET_SETS_DROP_TABLE_TAG);
    for (const hb_tag_t tag : tables_of(face.get())) {
        if (!stays(tag)) hb_set_add(dropped, tag);
    }
    for (const uint16_t glyph : glyphs) hb_set_add(hb_subset_input_glyph_set(input.get()), glyph);
    hb_subset_input_set_flags(input.get(), HB_SUBSET_FLAGS_NOTDEF_OUTLINE | HB_SUBSET_FLAGS_NO_PRUNE_UNICODE_RANGES |
                                               (keep_instructions ? 0u : unsigned{HB_SUBSET_FLAGS_NO_HINTING}));
    const Plan plan(hb_subset_plan_create_or_fail(face.get(), input.get()));
    if (!plan) return {};
    const HbFace part(hb_subset_plan_execute_or_fail(plan.get()));
    if (!part) return {};
    FontSubset subset;
    const hb_map_t* numbers = hb_subset_plan_old_to_new_glyph_mapping(plan.get());
    for (const uint16_t glyph : glyphs) {
        const hb_codepoint_t number = hb_map_get(numbers, glyph);
        if (number != HB_MAP_VALUE_INVALID && number > 0) subset.numbers[glyph] = static_cast<uint16_t>(number);
    }
    subset.bytes = bytes_of(HbBlob(hb_face_reference_blob(part.get())).get());
    return subset;
}

GlyphTexts with_own_characters(GlyphTexts texts, std::span<const uint8_t> file, unsigned member) {
    auto is_unknown = [](const auto& glyph) { return glyph.second.empty(); };
    if (std::none_of(texts.begin(), texts.end(), is_unknown)) return texts;
    const HbFace face = open_face(file, member);
    if (!face) return texts;
    const std::unique_ptr<hb_font_t, HbDestroy> font(hb_font_create(face.get()));
    const std::unique_ptr<hb_set_t, HbDestroy> characters(hb_set_create());
    hb_face_collect_unicodes(face.get(), characters.get());
    hb_codepoint_t character = HB_SET_VALUE_INVALID, glyph = 0;
    while (hb_set_next(characters.get(), &character)) {
        if (!hb_font_get_nominal_glyph(font.get(), character, &glyph)) continue;
        const auto found = texts.find(static_cast<uint16_t>(glyph));
        if (found != texts.end() && is_unknown(*found)) found->second.push_back(std::u32string(1, character));
    }
    return texts;
}

FontBytes member_of(std::span<const uint8_t> file, unsigned member) {
    const HbFace face = open_face(file, member);
    if (!face) return {};
    const HbFace single(hb_face_builder_create());
    for (const hb_tag_t tag : tables_of(face.get())) {
        const HbBlob table(hb_face_reference_table(face.get(), tag));
        hb_face_builder_add_table(single.get(), tag, table.get());
    }
    return bytes_of(HbBlob(hb_face_reference_blob(single.get())).get());
}

}  // namespace kvprint
