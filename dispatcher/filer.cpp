#include "dispatcher/filer.h"

#include <algorithm>
#include <charconv>

#include "dispatcher/safe_text.h"

namespace kvdisp12 {
namespace {

constexpr const char* kExtension = ".kv";

// Names that differ in case only are the same to some systems, and to people.
std::string folded(const std::string& name) {
    Text text = from_utf8(name);
    CharLowerBuffW(text.data(), static_cast<DWORD>(text.size()));
    return to_utf8(text);
}

std::string numbered(const std::string& stem, int64_t number) {
    return number == 1 ? stem + kExtension : stem + " (" + std::to_string(number) + ')' + kExtension;
}

// The number in a folded name of that stem; 0 for any other name.
int64_t number_in(const std::string& name, const std::string& stem) {
    if (name == stem + kExtension) return 1;
    if (!name.starts_with(stem + " (") || !name.ends_with(std::string(")") + kExtension)) return 0;
    int64_t number = 0;
    const char* end = name.data() + name.size() - 4;
    const auto [stop, error] = std::from_chars(name.data() + stem.size() + 2, end, number);
    return error == std::errc() && stop == end ? number : 0;
}

int64_t number_behind_all(const Folder& outbox, const std::string& stem) {
    int64_t most = 0;
    for (const std::string& name : outbox.names()) most = std::max(most, number_in(folded(name), stem));
    return most + 1;
}

}  // namespace

bool Filer::file(Document& document) {
    try {
        put_into_outbox(document);
    } catch (const std::exception& error) {
        put_off(document, error.what());
        return false;
    }
    std::lock_guard guard(lock_);
    waiting_.erase(document.id);
    return true;
}

// The name is written down before the job gets it, and never given to another document: where the outbox has it and the
// spool has the job no more, or the same bytes, the job has arrived.
void Filer::put_into_outbox(Document& document) {
    const Folder spool(store_.places.spool(), Folder::Owner::Ours), outbox(store_.places.outbox, Folder::Owner::Anyone);
    const std::string name = spool_name(document), part = '~' + document.uuid + ".part";
    if (document.state != State::Filing || !is_in_outbox(document, spool, outbox)) {
        const std::string stem = to_utf8(file_name_of(from_utf8(document.name))), key = folded(stem);
        int64_t number = store_.journal.next_number(key, [&] { return number_behind_all(outbox, key); });
        for (Moved moved = Moved::NameTaken; moved != Moved::Done; ++number) {
            while (outbox.has(numbered(stem, number))) ++number;
            const State before = document.state;
            document.state = State::Filing;
            document.target = numbered(stem, number);
            if (!store_.journal.change_and_take_number(document, before, key, number)) return;  // it was cancelled
            moved = spool.move(name, outbox, document.target);
            if (moved == Moved::OtherVolume) {
                JobFile::open(spool, name).copy_to(outbox, part);
                moved = outbox.move(part, outbox, document.target);
            }
        }
    }
    outbox.flush();
    spool.remove(name);
    if (outbox.has(part)) outbox.remove(part);
    document.state = State::Filed;
    document.error.clear();
    store_.journal.change(document, State::Filing);
    store_.log.line("Filed " + told(document) + " as " + in_quotes(outbox.path_of(document.target)), fields_of(document));
}

bool Filer::is_in_outbox(const Document& document, const Folder& spool, const Folder& outbox) const {
    if (document.target.empty() || !outbox.has(document.target)) return false;
    if (!spool.has(spool_name(document))) return true;
    return JobFile::open(spool, spool_name(document)).same_content(JobFile::open(outbox, document.target));
}

void Filer::put_off(Document& document, const std::string& why) {
    constexpr std::chrono::seconds kFirst{1}, kLongest{300};
    std::chrono::seconds pause = kFirst;
    {
        std::lock_guard guard(lock_);
        const auto known = waiting_.find(document.id);
        if (known != waiting_.end()) pause = std::min(known->second.pause * 2, kLongest);
        waiting_[document.id] = {Clock::now() + pause, pause};
    }
    store_.wake();
    const std::string line =
        "Not yet filed " + told(document) + ": " + why + "; again in " + std::to_string(pause.count()) + " s";
    store_.log.error(line, fields_of(document));
    try {
        ++document.attempts;
        document.error = why;
        store_.journal.change(document, document.state);
    } catch (const JournalError& error) {
        store_.log.limited("journal", error.what());
    }
}

void Filer::file_waiting(bool now) {
    discard_cancelled();
    for (Document& document : store_.journal.in_states({State::Taken, State::Taking, State::Filing})) {
        {
            std::lock_guard guard(lock_);
            const auto known = waiting_.find(document.id);
            if (known == waiting_.end() && !now) continue;  // someone is at it
            if (known != waiting_.end() && !now && known->second.next > Clock::now()) continue;
        }
        const Claims::Claim claim(store_.claims, document.id);
        auto current = store_.journal.find(document.id);
        if (!claim || !current || current->state != document.state) continue;
        if (document.state == State::Taking &&
            !Folder(store_.places.spool(), Folder::Owner::Ours).has(spool_name(document))) {
            continue;  // it is still where it came from
        }
        file(*current);
    }
}

// Whoever cancels a document only says so in the journal.
void Filer::discard_cancelled() {
    for (const Document& document : store_.journal.in_states({State::Cancelled})) {
        {
            std::lock_guard guard(lock_);
            waiting_.erase(document.id);
        }
        const Claims::Claim claim(store_.claims, document.id);
        const Folder spool(store_.places.spool(), Folder::Owner::Ours);
        if (!claim || !spool.has(spool_name(document))) continue;
        spool.remove(spool_name(document));
        store_.log.line("Cancelled " + told(document), fields_of(document));
    }
}

std::optional<Filer::Clock::time_point> Filer::next_try() {
    std::lock_guard guard(lock_);
    std::optional<Clock::time_point> first;
    for (const auto& [id, waiting] : waiting_) first = first ? std::min(*first, waiting.next) : waiting.next;
    return first;
}

}  // namespace kvdisp12
