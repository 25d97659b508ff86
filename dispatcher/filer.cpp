#include "dispatcher/filer.h"

#include <algorithm>
#include <charconv>
#include <utility>

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

std::string part_of(const Document& document) { return '~' + document.uuid + ".part"; }

// Whether an earlier attempt brought the job there: then the spool has it no more, or what the outbox has is the copy
// that was noted down.
bool is_in_outbox(const Document& document, const Folder& spool, const Folder& outbox) {
    if (document.target.empty() || !outbox.has(document.target)) return false;
    return !spool.has(spool_name(document)) ||
           (!document.target_identity.empty() &&
            JobFile::open(outbox, document.target).identity() == document.target_identity);
}

}  // namespace

bool Filer::take(JobFile job, Document& document) {
    try {
        const Folder spool(store_.places.spool(), Folder::Owner::Ours);
        move_into_spool(job, spool, document);
        return true;
    } catch (const std::exception& error) {
        put_off(document, error.what());
        return false;
    }
}

// After each step the job has exactly one place that counts: its name in the spool where it is there, else where it
// came from.
void Filer::move_into_spool(const JobFile& job, const Folder& spool, Document& document) {
    job.flush();
    if (job.move_to(spool, spool_name(document)) == Moved::OtherVolume) {
        const std::string part = document.uuid + ".part";
        job.copy_to(spool, part);
        spool.move(part, spool, spool_name(document));
    }
    spool.flush();
    remove_source(job);
    document.state = State::Taken;
    document.error.clear();
    store_.journal.change(document, State::Taking);
}

// A name that stays costs nothing but space: the journal knows that its job has been taken.
void Filer::remove_source(const JobFile& job) {
    if (!job.remove_source()) store_.log.limited("source", "Cannot remove " + in_quotes(job.path()));
}

// What an earlier attempt did not come to the end of.
void Filer::finish_taking(Document& document) {
    const Folder spool(store_.places.spool(), Folder::Owner::Ours);
    auto source = JobFile::open_again(document.source, store_.places.roots);
    if (source && source->identity() != document.source_identity) source.reset();
    if (spool.has(spool_name(document))) {
        if (source) remove_source(*source);
        document.state = State::Taken;
    } else if (source) {
        return move_into_spool(*source, spool, document);
    } else {
        document.state = State::Failed;
        document.error = "the job is gone from " + in_quotes(document.source);
        store_.log.error("Lost " + told(document) + ": " + document.error, fields_of(document));
    }
    store_.journal.change(document, State::Taking);
}

bool Filer::file(Document& document) {
    try {
        if (document.state == State::Taking) finish_taking(document);
        if (document.state == State::Taken || document.state == State::Filing) put_into_outbox(document);
    } catch (const std::exception& error) {
        put_off(document, error.what());
        return false;
    }
    no_longer_waits(document.id);
    return true;
}

void Filer::put_into_outbox(Document& document) {
    const Folder spool(store_.places.spool(), Folder::Owner::Ours), outbox(store_.places.outbox, Folder::Owner::Anyone);
    if (document.state != State::Filing || !is_in_outbox(document, spool, outbox)) {
        if (move_into_outbox(document, spool, outbox) != Moved::Done) return;  // it was cancelled
    }
    outbox.flush();
    spool.remove(spool_name(document));
    if (outbox.has(part_of(document))) outbox.remove(part_of(document));
    document.state = store_.deliver ? State::Delivering : State::Filed;
    document.error.clear();
    document.attempts = 0;
    // Who cancelled it meanwhile came too late.
    if (!store_.journal.change(document, State::Filing)) store_.journal.change(document, State::Cancelled);
    store_.log.line("Filed " + told(document) + " as " + in_quotes(outbox.path_of(document.target)),
                    fields_of(document));
    if (store_.deliver) store_.deliver();
}

// The name is written down before the job gets it, and never given to another document; an earlier attempt's is still
// this one's. NameTaken: the document has been cancelled.
Moved Filer::move_into_outbox(Document& document, const Folder& spool, const Folder& outbox) {
    if (document.state == State::Filing && !document.target.empty() && !outbox.has(document.target)) {
        document.target_identity.clear();
        if (!store_.journal.change(document, State::Filing)) return Moved::NameTaken;
        const auto moved = give_name(document, spool, outbox);
        if (!moved || *moved == Moved::Done) return moved.value_or(Moved::NameTaken);
    }
    const std::string stem = to_utf8(file_name_of(from_utf8(document.name))), key = folded(stem);
    int64_t number = store_.journal.next_number(key, [&] { return number_behind_all(outbox, key); });
    for (;; ++number) {
        while (outbox.has(numbered(stem, number))) ++number;
        const State before = std::exchange(document.state, State::Filing);
        document.target = numbered(stem, number);
        document.target_identity.clear();
        if (!store_.journal.change_and_take_number(document, before, key, number)) return Moved::NameTaken;
        const auto moved = give_name(document, spool, outbox);
        if (!moved || *moved == Moved::Done) return moved.value_or(Moved::NameTaken);
    }
}

// Done or NameTaken: by another file. A copy is written down before it gets the name. Nothing: the document has been
// cancelled.
std::optional<Moved> Filer::give_name(Document& document, const Folder& spool, const Folder& outbox) {
    const Moved moved = spool.move(spool_name(document), outbox, document.target);
    if (moved != Moved::OtherVolume) return moved;
    JobFile::open(spool, spool_name(document)).copy_to(outbox, part_of(document));
    document.target_identity = JobFile::open(outbox, part_of(document)).identity();
    if (!store_.journal.change(document, State::Filing)) return std::nullopt;
    return outbox.move(part_of(document), outbox, document.target);
}

void Filer::put_off(const Document& document, const std::string& why) {
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
    if (pause == kFirst) {
        store_.log.error(line, fields_of(document));
    } else {
        store_.log.limited("waiting", line);
    }
    try {
        auto current = store_.journal.find(document.id);
        if (!current) return;
        ++current->attempts;
        current->error = why;
        store_.journal.change(*current, current->state);
    } catch (const JournalError& error) {
        store_.log.limited("journal", error.what());
    }
}

void Filer::no_longer_waits(int64_t id) {
    std::lock_guard guard(lock_);
    waiting_.erase(id);
}

// One that is not known to wait is another thread's, or was left by a dispatcher that died.
bool Filer::is_due(int64_t id, bool now) {
    std::lock_guard guard(lock_);
    const auto known = waiting_.find(id);
    return now || (known != waiting_.end() && known->second.next <= Clock::now());
}

void Filer::file_waiting(bool now) {
    discard_cancelled();
    for (const Document& document : store_.journal.in_states({State::Taken, State::Taking, State::Filing})) {
        if (!is_due(document.id, now)) continue;
        const Claims::Claim claim(store_.claims, document.id);
        auto current = claim ? store_.journal.find(document.id) : std::nullopt;
        if (current && current->state == document.state) file(*current);
    }
}

// Whoever cancels a document only says so in the journal.
void Filer::discard_cancelled() {
    const Folder spool(store_.places.spool(), Folder::Owner::Ours);
    for (const Document& document : store_.journal.in_states({State::Cancelled})) {
        const Claims::Claim claim(store_.claims, document.id);
        if (!claim) continue;
        no_longer_waits(document.id);
        if (!spool.has(spool_name(document))) continue;
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
