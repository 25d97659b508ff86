#pragma once

#include "tools/kvjob/fields.h"
#include "tools/kvjob/text_bodies.h"

namespace kvjob {

void show_font(const FontDefinition& font, Fields& out);
void show_text_state(const TextState& state, Fields& out);
void show_text(const TextRun& run, Fields& out);

}  // namespace kvjob
