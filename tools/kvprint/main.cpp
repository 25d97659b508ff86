#include <unistd.h>

#include <cstdio>

#include "platform/host/leftovers.h"
#include "printhost/output.h"
#include "printhost/print_job.h"
#include "tools/kvprint/options.h"

namespace {

// The closing line goes to standard output, unless the job does.
FILE* stream_of(const kvprint::Request& request) {
    return request.output == kvprint::kStandardStream ? stderr : stdout;
}

void report(const kvprint::Request& request, const kvprint::Played& played) {
    if (!request.quiet) {
        FILE* out = stream_of(request);
        if (isatty(STDERR_FILENO)) std::fprintf(stderr, "\r\033[K");
        std::fprintf(out, "%s: %zu %s, %zu fills, %zu strokes, %zu texts, %zu images\n",
                     request.output.empty() ? request.input.c_str() : request.output.c_str(), played.pages,
                     played.pages == 1 ? "page" : "pages", played.fills, played.strokes, played.texts, played.images);
        for (const auto& [kind, letters] : played.letters) {
            std::fprintf(out, "  letters in %s fonts: %zu as text, %zu as outlines, %zu in images, %zu stroked\n",
                         kind.c_str(), letters.as_text, letters.as_outlines, letters.in_images, letters.stroked);
        }
        for (const auto& [what, count] : played.otherwise) {
            if (count > 0) std::fprintf(out, "  drawn otherwise: %zu %s\n", count, what.c_str());
        }
    }
    for (const std::string& warning : played.warnings) {
        std::fprintf(stderr, "kvprint: %s: %s\n", request.input.c_str(), warning.c_str());
    }
}

int print(const kvprint::Request& request) {
    try {
        const kvprint::Played played = kvprint::print_file(request);
        report(request, played);
        return played.warnings.empty() ? int{kv::cli::kDone} : int{kv::cli::kDoneButFor};
    } catch (const kvprint::OutputFault&) {
        throw;  // it names its file
    } catch (const std::bad_alloc&) {
        throw std::runtime_error(request.input + ": not enough memory");
    } catch (const std::exception& error) {
        throw std::runtime_error(request.input + ": " + error.what());
    }
}

// The others are printed although one fails.
int print_all(const kvprint::Options& options) {
    const std::vector<kvprint::Request> requests = kvprint::requests_of(options);
    kv::host::end_cleanly_at_signals();
    if (requests.size() == 1) return print(requests.front());
    int code = kv::cli::kDone;
    for (const kvprint::Request& request : requests) {
        try {
            if (const int ended = print(request); code == kv::cli::kDone) code = ended;
        } catch (const std::exception& error) {
            std::fprintf(stderr, "kvprint: %s\n", error.what());
            code = kv::cli::kFailed;
        }
    }
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app;
    kvprint::Options options;
    kvprint::describe(app, options);
    return kv::cli::run(app, {argv + 1, argv + argc}, [&] { return print_all(options); });
}
