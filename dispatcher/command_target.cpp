#include "dispatcher/child.h"
#include "dispatcher/delivery.h"
#include "dispatcher/safe_text.h"
#include "dispatcher/work_folder.h"

namespace kvdisp12 {
namespace {

std::vector<std::string> facts_of(const Attempt& attempt) {
    const Document& document = attempt.document;
    std::vector<std::string> variables;
    const auto tell = [&](const std::string& name, const std::string& value) {
        variables.push_back("KARVO_" + name + '=' + without_controls(value));
    };
    tell("JOB", attempt.job.path());
    tell("ID", std::to_string(document.id));
    tell("UUID", document.uuid);
    tell("NAME", document.name);
    tell("PRINTER", document.printer);
    tell("USER", document.user);
    tell("SESSION", std::to_string(document.session));
    tell("PAGES", document.pages < 0 ? "" : std::to_string(document.pages));
    tell("BYTES", std::to_string(attempt.job.size()));
    tell("ATTEMPT", std::to_string(document.attempts + 1));
    tell("REPEATED", attempt.repeated ? "1" : "0");
    return variables;
}

class CommandTarget : public Target {
public:
    explicit CommandTarget(std::vector<std::string> words) : words_(std::move(words)) {}

    Outcome deliver(const Attempt& attempt) override {
        constexpr int kTemporaryFailure = 75;  // EX_TEMPFAIL
        const WorkFolder work(attempt.places, attempt.document.uuid);
        Child child{.words = words_, .variables = facts_of(attempt), .folder = work.path()};
        child.limits = {0, 0, 0, 0, attempt.patience};
        const ChildEnd end = run_child(child, attempt.stop);
        const std::string what = "command: " + end.told();
        if (end.kind == ChildEnd::Kind::Stopped) return {Outcome::Kind::Stopped};
        if (end.kind == ChildEnd::Kind::NotStarted) return {Outcome::Kind::Down, what};
        if (end.exited_with(0)) return {Outcome::Kind::Done, end.said.empty() ? "" : what};
        const bool again = end.kind != ChildEnd::Kind::Exited || end.exited_with(kTemporaryFailure);
        return {again ? Outcome::Kind::Again : Outcome::Kind::Never, what};
    }

private:
    const std::vector<std::string> words_;
};

}  // namespace

std::unique_ptr<Target> make_command_target(const std::vector<std::string>& words) {
    return std::make_unique<CommandTarget>(words);
}

}  // namespace kvdisp12
