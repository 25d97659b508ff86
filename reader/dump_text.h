#pragma once

#include "reader/fields.h"
#include "reader/text_bodies.h"

namespace kvjob {

void show_font(const FontDefinition& font, Fields& out);
void show_text_state(const TextState& state, Fields& out);
void show_text(const TextRun& run, Fields& out);

}  // namespace kvjob
