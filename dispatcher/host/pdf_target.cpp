#include <unistd.h>

#include <filesystem>

#include "dispatcher/host/descriptor.h"
#include "dispatcher/host/targets.h"

namespace kvdisp12 {
namespace {

constexpr std::string_view kJobEnd = ".kv", kPartEnd = ".pdf.part";

std::string part_of(const std::string& uuid) { return '~' + uuid + kPartEnd.data(); }

std::string numbered(const std::string& stem, int number) {
    return number == 1 ? stem + ".pdf" : stem + " (" + std::to_string(number) + ").pdf";
}

// A PDF file has its name when it is whole. What it is and the name are noted down before it gets it, so that a
// dispatcher that comes after one that died knows its own.
class PdfTarget : public Target {
public:
    explicit PdfTarget(std::string folder) : folder_(std::move(folder)) {}

    Outcome deliver(const Attempt& attempt) override {
        const Folder folder(folder_, Folder::Owner::Anyone);
        if (is_there(attempt.document, folder)) return {Outcome::Kind::Done};
        const std::string part = part_of(attempt.document.uuid);
        folder.remove(part);
        const Descriptor file(folder.make_file(part));
        Outcome outcome = draw_pdf(attempt, file.get());
        if (outcome.kind == Outcome::Kind::Done && fsync(file.get()) != 0) {
            outcome = {Outcome::Kind::Down, "cannot write " + folder.path_of(part)};
        }
        if (outcome.kind == Outcome::Kind::Done && !give_name(attempt, folder, part)) {
            outcome = {Outcome::Kind::Cancelled};
        }
        if (outcome.kind != Outcome::Kind::Done) folder.remove(part);
        return outcome;
    }

    void sweep(const std::function<bool(const std::string&)>& is_ours) override {
        if (std::error_code none; !std::filesystem::is_directory(folder_, none)) return;
        const Folder folder(folder_, Folder::Owner::Anyone);
        for (const std::string& name : folder.names()) {
            if (!name.starts_with('~') || !name.ends_with(kPartEnd) || name.size() <= kPartEnd.size()) continue;
            if (is_ours(name.substr(1, name.size() - 1 - kPartEnd.size()))) folder.remove(name);
        }
    }

private:
    static bool is_there(const Document& document, const Folder& folder) {
        return !document.delivery_name.empty() && folder.has(document.delivery_name) &&
               JobFile::open(folder, document.delivery_name).identity() == document.delivery_identity;
    }

    // As the job is called in the outbox. False: it is not to be delivered any more.
    static bool give_name(const Attempt& attempt, const Folder& folder, const std::string& part) {
        Document& document = attempt.document;
        const std::string stem = document.target.substr(0, document.target.size() - kJobEnd.size());
        document.delivery_identity = JobFile::open(folder, part).identity();
        for (int number = 1;; ++number) {
            document.delivery_name = numbered(stem, number);
            if (folder.has(document.delivery_name)) continue;
            if (!attempt.note()) return false;
            if (folder.move(part, folder, document.delivery_name) == Moved::Done) break;
        }
        folder.flush();
        return true;
    }

    const std::string folder_;
};

}  // namespace

std::unique_ptr<Target> make_pdf_target(const std::string& folder) { return std::make_unique<PdfTarget>(folder); }

}  // namespace kvdisp12
