#include <unistd.h>

#include <cstdio>

#include "printhost/print_job.h"
#include "tools/kvprint/options.h"

namespace {

void report(const kvprint::Options& options, const kvprint::Played& played) {
    if (!options.quiet) {
        if (isatty(STDERR_FILENO)) std::fprintf(stderr, "\r\033[K");
        std::printf("%s: %zu pages, %zu fills, %zu strokes, %zu texts, %zu images\n",
                    options.output.empty() ? options.input.c_str() : options.output.c_str(), played.pages, played.fills,
                    played.strokes, played.texts, played.images);
        for (const auto& [kind, letters] : played.letters) {
            std::printf("  letters in %s fonts: %zu as text, %zu as outlines, %zu in images, %zu stroked\n",
                        kind.c_str(), letters.as_text, letters.as_outlines, letters.in_images, letters.stroked);
        }
        for (const auto& [what, count] : played.otherwise) {
            if (count > 0) std::printf("  drawn otherwise: %zu %s\n", count, what.c_str());
        }
    }
    for (const auto& [kind, count] : played.missing) {
        std::fprintf(stderr, "%s: not printed: %zu %s\n", options.input.c_str(), count, kind.c_str());
    }
}

int print(const kvprint::Options& options) {
    try {
        report(options, kvprint::print_file(options));
    } catch (const std::exception& error) {
        throw std::runtime_error(options.input + ": " + error.what());
    }
    return kv::cli::kDone;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app;
    kvprint::Options options;
    kvprint::describe(app, options);
    return kv::cli::run(app, {argv + 1, argv + argc}, [&] { return print(options); });
}
