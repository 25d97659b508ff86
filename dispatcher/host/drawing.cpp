#include <fcntl.h>
#include <unistd.h>

#include "dispatcher/child.h"
#include "dispatcher/host/descriptor.h"
#include "dispatcher/host/targets.h"

namespace kvdisp12 {
namespace {

// Beside this program, or where packages put it; never where a search path leads.
std::string drawing_program() {
    const std::string beside = program_beside("kvjob");
    return beside.empty() ? "/usr/bin/kvjob" : beside;
}

ChildEnd draw(const Attempt& attempt, int output) {
    Child child;
    child.words = {drawing_program(), "pdf", "-o", "-", "-"};
    child.input = attempt.job.descriptor();
    child.output = output;
    child.limits.time = attempt.patience;
    return run_child(child, attempt.stop);
}

}  // namespace

Outcome draw_pdf(const Attempt& attempt, int output) {
    constexpr int kFailed = 1, kSomethingLost = 3;
    constexpr int64_t kAttempts = 3;  // for what kills it may be the machine's state
    ChildEnd end = draw(attempt, output);
    const std::string what = "drawing: " + end.told();
    if (end.exited_with(0)) return {Outcome::Kind::Done};
    if (end.exited_with(kSomethingLost)) {
        attempt.document.error = what;
        return {Outcome::Kind::Done, what};
    }
    if (end.kind == ChildEnd::Kind::Stopped) return {Outcome::Kind::Stopped};
    if (end.kind == ChildEnd::Kind::NotStarted) return {Outcome::Kind::Down, what};
    if (!end.exited_with(kFailed)) return {Outcome::Kind::Again, what, kAttempts};
    // Is it the job, or the disk that it is drawn to?
    const Descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    end = draw(attempt, nowhere.get());
    if (end.kind == ChildEnd::Kind::Stopped) return {Outcome::Kind::Stopped};
    const bool drawn = end.exited_with(0) || end.exited_with(kSomethingLost);
    return {drawn ? Outcome::Kind::Down : Outcome::Kind::Never, what};
}

std::unique_ptr<Target> make_target(const Destination& destination) {
    switch (destination.kind) {
        case Destination::Kind::Pdf:
            return make_pdf_target(destination.folder);
        case Destination::Kind::Cups:
            return make_cups_target(destination.queue, destination.host);
        case Destination::Kind::Command:
            return make_command_target(destination.words);
        default:
            return nullptr;
    }
}

}  // namespace kvdisp12
