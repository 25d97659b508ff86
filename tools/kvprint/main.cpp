#include <chrono>
#include <cstdio>

#include "platform/host/leftovers.h"
#include "printhost/output.h"
#include "printhost/print_job.h"
#include "tools/kvprint/options.h"
#include "tools/kvprint/summary.h"

namespace {

using kvprint::Json;
using Clock = std::chrono::steady_clock;

// The closing line goes to standard output, unless the job does.
FILE* stream_of(const kvprint::Request& request) {
    return kvprint::is_standard_output(request.output) ? stderr : stdout;
}

void tell(const kvprint::Request& request, const kvprint::Played& played) {
    for (const kvprint::Warning& warning : played.warnings) {
        std::fprintf(stderr, "kvprint: %s: %s\n", request.input.c_str(), warning.line().c_str());
    }
}

// subject: what the fault is about, where it does not say itself.
int fail(const kvprint::Request& request, const std::string& subject, const std::string& error, Json& documents) {
    std::fprintf(stderr, "kvprint: %s%s\n", subject.c_str(), error.c_str());
    documents.push_back(kvprint::fault_json(request, error));
    return kv::cli::kFailed;
}

// documents: gets what became of it.
int print(const kvprint::Options& options, const kvprint::Request& request, Json& documents) {
    const std::string subject = request.input + ": ";
    try {
        const auto begun = Clock::now();
        const kvprint::Played played = kvprint::print_file(request);
        const std::chrono::duration<double> taken = Clock::now() - begun;
        if (!request.quiet && !options.json) {
            std::fputs(kvprint::summary_text(request, played).c_str(), stream_of(request));
        }
        tell(request, played);
        documents.push_back(kvprint::summary_json(request, played, taken.count()));
        return played.warnings.empty() ? kv::cli::kDone : kv::cli::kDoneButFor;
    } catch (const kvprint::OutputFault& fault) {
        return fail(request, "", fault.what(), documents);
    } catch (const std::bad_alloc&) {
        return fail(request, subject, "not enough memory", documents);
    } catch (const std::exception& error) {
        return fail(request, subject, error.what(), documents);
    }
}

// The others are printed although one fails.
int print_all(const kvprint::Options& options) {
    const std::vector<kvprint::Request> requests = kvprint::requests_of(options);
    kv::host::end_cleanly_at_signals();
    int code = kv::cli::kDone;
    Json documents = Json::array();
    for (const kvprint::Request& request : requests) {
        const int ended = print(options, request, documents);
        if (ended == kv::cli::kFailed || code == kv::cli::kDone) code = ended;
    }
    if (options.json) std::fputs(kvprint::written(std::move(documents)).c_str(), stdout);
    return code;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app;
    kvprint::Options options;
    kvprint::describe(app, options);
    return kv::cli::run(app, {argv + 1, argv + argc}, [&] { return print_all(options); });
}
