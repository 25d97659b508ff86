// Any bytes as the dispatcher's journal: it is opened, or set aside and a new one made, and then every question and
// every change has an answer or is refused.

#include <filesystem>
#include <fstream>

#include "dispatcher/journal.h"
#include "tests/common/workspace.h"
#include "tests/fuzz/fuzz_input.h"

namespace kvdisp12 {
namespace {

// False for a journal that cannot answer.
template <class Work>
bool answered(const Work& work) {
    try {
        work();
        return true;
    } catch (const JournalError&) {
        return false;
    }
}

void ask(Journal& journal) {
    constexpr State kStates[] = {State::Announced, State::Taken, State::Delivering};
    std::vector<Document> all;
    answered([&] { all = journal.all(); });
    answered([&] { journal.counts(); });
    answered([&] { journal.last_errors(3); });
    answered([&] { journal.delivered_jobs(); });
    answered([&] { journal.in_states(kStates); });
    answered([&] { journal.next_in_state(State::Filed, 0); });
    for (Document& document : all) {
        const int64_t id = document.id;
        answered([&] { journal.find(id); });
        answered([&] { journal.find_by_uuid(document.uuid); });
        answered([&] { journal.find_by_source(document.source); });
        const int64_t next = document.attempts;
        answered([&] { journal.change_and_take_number(document, document.state, document.name, next); });
        if (&document - all.data() > 4) break;
    }
}

void change(Journal& journal) {
    Document added;
    added.name = "new";
    if (answered([&] { journal.add(added); })) {
        answered([&] { kv::require(journal.find(added.id).has_value()); });
        answered([&] { journal.remove(added.id); });
    }
    answered([&] { journal.next_number("stem", [] { return 1; }); });
    answered([&] { journal.prune(Journal::now(), 1, true); });
}

void run(const uint8_t* data, size_t size) {
    static const kv::test::Workspace folder;
    const std::string path = folder.path("state/journal.db");
    std::filesystem::remove_all(folder.path("state"));
    std::filesystem::create_directory(folder.path("state"));
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    std::unique_ptr<Journal> journal;
    answered([&] { journal = std::make_unique<Journal>(path, Journal::Access::Visit); });
    if (journal) ask(*journal);
    journal.reset();
    // The dispatcher itself always has one.
    journal = std::make_unique<Journal>(path, Journal::Access::Own, [](const std::string&) {});
    ask(*journal);
    change(*journal);
}

}  // namespace
}  // namespace kvdisp12

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kvdisp12::run(data, size);
    return 0;
}
