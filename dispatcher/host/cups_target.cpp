#include <algorithm>
#include <sstream>

#include "dispatcher/child.h"
#include "dispatcher/host/descriptor.h"
#include "dispatcher/host/targets.h"
#include "dispatcher/job_facts.h"
#include "dispatcher/safe_text.h"
#include "dispatcher/work_folder.h"

namespace kvdisp12 {
namespace {

struct NotDone {
    Outcome outcome;
};

// Hands one document to a queue. The queue knows it by the job's name, so that one which was sent, or half sent, before
// is found there. kvcups speaks to CUPS, a process for each step.
class Handing {
public:
    Handing(const Attempt& attempt, const std::string& queue, const std::string& host)
        : attempt_(attempt), queue_(queue), host_(host), name_("karvo-" + attempt.document.uuid) {}

    Outcome deliver() {
        Document& document = attempt_.document;
        const bool may_be_there = document.delivery_id != 0 || attempt_.repeated;
        const QueuedJob earlier = may_be_there ? find_earlier() : QueuedJob{};
        if (earlier.has == "document") return {Outcome::Kind::Done};
        if (earlier.has == "unknown" && document.delivery_id != 0) {
            return {Outcome::Kind::Never, "CUPS no longer knows its job " + std::to_string(document.delivery_id) +
                                              ": whether it was printed cannot be told; --retry sends it again"};
        }
        const WorkFolder work(attempt_.places, document.uuid);
        const Descriptor file(Folder(work.path(), Folder::Owner::Ours).make_file("document.pdf"));
        const Outcome drawn = draw_pdf(attempt_, file.get());
        if (drawn.kind != Outcome::Kind::Done) return drawn;
        document.delivery_id = earlier.has == "nothing" ? earlier.id : create();
        if (!attempt_.note()) {
            cancel();
            return {Outcome::Kind::Cancelled};
        }
        ask("send", {"KARVO_NAME=" + without_controls(document.name)}, file.get());
        return drawn;
    }

private:
    // What CUPS has of a job: its "document", "nothing" of it yet; it has "ended" without; it is "unknown".
    struct QueuedJob {
        int64_t id = 0;
        std::string has = "unknown";
    };

    QueuedJob find_earlier() {
        QueuedJob job;
        std::istringstream(ask("find")) >> job.id >> job.has;
        return job;
    }

    // Copies and sides are told by what the application attached, under IPP's names.
    int64_t create() {
        const JobTicket ticket = read_ticket(attempt_.job);
        const auto attached = [&](const WCHAR* name) {
            const auto found = ticket.attached.find(name);
            return found == ticket.attached.end() ? "" : without_controls(to_utf8(found->second));
        };
        int64_t id = 0;
        std::istringstream(ask(
            "create", {"KARVO_WIDTH=" + std::to_string(ticket.width), "KARVO_HEIGHT=" + std::to_string(ticket.height),
                       "KARVO_TRAY=" + without_controls(to_utf8(ticket.tray)),
                       "KARVO_COPIES=" + attached(TEXT("copies")), "KARVO_SIDES=" + attached(TEXT("sides"))})) >>
            id;
        if (id <= 0) throw NotDone{{Outcome::Kind::Down, "CUPS tells no number of its job"}};
        return id;
    }

    void cancel() {
        try {
            ask("cancel");
        } catch (const NotDone&) {  // CUPS gives up by itself on a job without a document
        }
    }

    // What the step tells. Throws NotDone.
    std::string ask(const char* step, std::vector<std::string> variables = {}, int input = -1) {
        constexpr int kRefused = 4;
        constexpr std::chrono::hours kLongest(24);  // kvcups itself waits no longer than it may for each answer
        variables.insert(variables.end(), {"KARVO_USER=" + attempt_.document.user,
                                           "KARVO_QUEUE_ID=" + std::to_string(attempt_.document.delivery_id),
                                           "KARVO_PATIENCE=" + std::to_string(attempt_.patience.count())});
        Child child{{helper(), step, queue_, host_, name_}, variables, input};
        child.limits.time = kLongest;
        const ChildEnd end = run_child(child, attempt_.stop);
        if (end.exited_with(0)) return end.said;
        if (end.kind == ChildEnd::Kind::Stopped) throw NotDone{{Outcome::Kind::Stopped}};
        const bool refused = end.exited_with(kRefused);
        const bool explained = refused || end.exited_with(1);
        throw NotDone{{refused ? Outcome::Kind::Never : Outcome::Kind::Down,
                       explained ? in_quotes(end.said.substr(0, end.said.find('\n'))) : "kvcups: " + end.told()}};
    }

    // Beside this program, or where packages put it.
    static std::string helper() {
        const std::string beside = program_beside("kvcups");
        return beside.empty() ? "/usr/libexec/karvo/kvcups" : beside;
    }

    const Attempt& attempt_;
    const std::string queue_, host_, name_;
};

class CupsTarget : public Target {
public:
    CupsTarget(std::string queue, std::string host) : queue_(std::move(queue)), host_(std::move(host)) {}

    Outcome deliver(const Attempt& attempt) override {
        try {
            return Handing(attempt, queue_, host_).deliver();
        } catch (const NotDone& end) {
            return end.outcome;
        }
    }

private:
    const std::string queue_, host_;
};

}  // namespace

std::unique_ptr<Target> make_cups_target(const std::string& queue, const std::string& host) {
    return std::make_unique<CupsTarget>(queue, host);
}

}  // namespace kvdisp12
