// How fast strings become text records and fonts definitions, through the hooks, into a job file.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/open_document.h"

namespace kv {
namespace {

using engine::Font;
using engine::String;

std::shared_ptr<engine::FontFile> sans() {
    static auto file = engine::FontFile::load("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf");
    return file;
}

void draw(benchmark::State& state, OpenDocument& document, String& text, Font& font, engine::Brush& brush) {
    if (!document.device().text_out(text, font, nullptr, brush)) state.SkipWithError("not recorded");
    document.renew();
}

// Strings of that many characters on a line of their own: a record each.
void Lines(benchmark::State& state) {
    OpenDocument document(0);
    Font font(sans(), 0, 50);
    engine::Brush black = engine::Brush::solid(0);
    const std::u16string characters(static_cast<size_t>(state.range(0)), u'a');
    String lines[] = {String(font, characters, {100, 200}), String(font, characters, {100, 300})};
    size_t turn = 0;
    for ([[maybe_unused]] auto _ : state) draw(state, document, lines[turn++ % 2], font, black);
    report(state, document, 1);
    state.SetLabel("items are records");
}
BENCHMARK(Lines)->Arg(1)->Arg(12)->Arg(80)->Arg(255);

// Words that follow each other on a line: 32 of them become one record.
void WordsOfALine(benchmark::State& state) {
    constexpr int kWords = 32;
    OpenDocument document(0);
    Font font(sans(), 0, 50);
    engine::Brush black = engine::Brush::solid(0);
    std::vector<std::unique_ptr<String>> words;
    for (LONG i = 0; i < kWords; ++i)
        words.push_back(std::make_unique<String>(font, u"words ", POINTL{100 + i * 170, 200}));
    size_t turn = 0;
    for ([[maybe_unused]] auto _ : state) draw(state, document, *words[turn++ % kWords], font, black);
    report(state, document, 1);
    state.SetLabel("items are strings");
}
BENCHMARK(WordsOfALine);

// Slanted text with each glyph beside the baseline.
void SlantedOffsets(benchmark::State& state) {
    OpenDocument document(0);
    Font font(sans(), 0, 50, 30);
    engine::Brush black = engine::Brush::solid(0);
    String text(font, std::u16string(80, u'a'), {500, 3000});
    for (LONG i = 0; i < 80; ++i) text.pgp[i].ptl.y += i % 3;
    text.flAccel |= SO_DXDY;
    for ([[maybe_unused]] auto _ : state) draw(state, document, text, font, black);
    report(state, document, 1);
    state.SetLabel("items are records");
}
BENCHMARK(SlantedOffsets);

// Two fonts in turn: a state and a text record each.
void ChangingFonts(benchmark::State& state) {
    OpenDocument document(0);
    Font fonts[] = {Font(sans(), 0, 50), Font(sans(), 0, 60)};
    engine::Brush black = engine::Brush::solid(0);
    String texts[] = {String(fonts[0], u"characters", {100, 200}), String(fonts[1], u"characters", {100, 200})};
    size_t turn = 0;
    for ([[maybe_unused]] auto _ : state) {
        draw(state, document, texts[turn % 2], fonts[turn % 2], black);
        ++turn;
    }
    report(state, document, 2);
    state.SetLabel("items are records");
}
BENCHMARK(ChangingFonts);

// The first text in a font of a size that the document has not seen; the file (740 KB) is already in the job.
void NewFonts(benchmark::State& state) {
    OpenDocument document(0);
    engine::Brush black = engine::Brush::solid(0);
    double size = 20;
    for ([[maybe_unused]] auto _ : state) {
        Font font(sans(), 0, size += 1);
        String text(font, u"a", {100, 200});
        draw(state, document, text, font, black);
        if (size > 20000) size = 20;
    }
    report(state, document, 1);
    state.SetLabel("items are fonts");
}
BENCHMARK(NewFonts);

}  // namespace
}  // namespace kv
