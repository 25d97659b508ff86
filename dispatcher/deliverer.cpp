#include "dispatcher/deliverer.h"

#include <algorithm>
#include <utility>

namespace kvdisp12 {
namespace {

// About an hour: a folder on a volume that is not mounted looks like an empty one.
constexpr int64_t kAttemptsForMissing = 20;

}  // namespace

void Deliverer::Pause::grow() {
    constexpr std::chrono::seconds kFirst{1}, kLongest{300};
    length = length == std::chrono::seconds::zero() ? kFirst : std::min(length * 2, kLongest);
    next = Clock::now() + length;
}

Deliverer::Deliverer(Store& store, std::unique_ptr<Target> target, std::chrono::seconds patience)
    : store_(store), target_(std::move(target)), patience_(patience), last_of_earlier_(store.journal.last_id()) {
    store_.deliver = [this] { wake(false); };
}

void Deliverer::start() { thread_ = std::thread(&Deliverer::run, this); }

void Deliverer::stop() {
    stop_.request_stop();
    {
        std::lock_guard guard(lock_);
        changed_.notify_all();
    }
    if (thread_.joinable()) thread_.join();
}

void Deliverer::wake(bool all) {
    std::lock_guard guard(lock_);
    woken_ = true;
    all_ = all_ || all;
    changed_.notify_all();
}

bool Deliverer::has_work() {
    std::lock_guard guard(lock_);
    return woken_ || busy_;
}

void Deliverer::run() {
    std::unique_lock guard(lock_);
    while (!stop_.stop_requested()) {
        const auto next = next_try();
        if (!woken_ && next) changed_.wait_until(guard, *next);
        if (!woken_ && !next) changed_.wait(guard);
        if (stop_.stop_requested()) break;
        woken_ = false;
        busy_ = true;
        const bool all = std::exchange(all_, false);
        guard.unlock();
        bool waits = true;
        try {
            deliver_waiting(all);
            waits = store_.journal.next_in_state(State::Delivering, 0).has_value();
        } catch (const std::exception& error) {
            down_.grow();
            store_.log.limited("deliver", std::string("Looking after what is to be delivered: ") + error.what());
        }
        guard.lock();
        busy_ = waits;
    }
}

// Nothing where nothing is put off.
std::optional<Deliverer::Clock::time_point> Deliverer::next_try() const {
    if (down_.length.count() > 0) return down_.next;
    std::optional<Clock::time_point> first;
    for (const auto& [id, pause] : waiting_) first = first ? std::min(*first, pause.next) : pause.next;
    return first;
}

bool Deliverer::is_due(int64_t id, bool all) const {
    const auto known = waiting_.find(id);
    return all || known == waiting_.end() || known->second.next <= Clock::now();
}

void Deliverer::deliver_waiting(bool all) {
    if (!all && down_.next > Clock::now()) return;
    const size_t cancelled = std::erase_if(waiting_, [&](const auto& each) {
        const auto document = store_.journal.find(each.first);
        return !document || document->state != State::Delivering;
    });
    if (!swept_ || cancelled > 0) sweep();
    int64_t last = 0;
    while (const auto document = store_.journal.next_in_state(State::Delivering, last)) {
        last = document->id;
        if (stop_.stop_requested() || (is_due(last, all) && !deliver(last))) return;
    }
    down_ = {};
}

// No attempt is under way.
void Deliverer::sweep() {
    try {
        target_->sweep([&](const std::string& uuid) { return store_.journal.find_by_uuid(uuid).has_value(); });
        swept_ = true;
    } catch (const std::exception& error) {
        store_.log.limited("sweep", std::string("What is left of deliveries: ") + error.what());
    }
}

// False: the others have to wait as well.
bool Deliverer::deliver(int64_t id) {
    const Claims::Claim claim(store_.claims, id);
    auto document = claim ? store_.journal.find(id) : std::nullopt;
    if (!document || document->state != State::Delivering) return true;
    document->error.clear();
    Outcome outcome = attempt(*document);
    if (outcome.kind == Outcome::Kind::Stopped) return false;
    if (outcome.kind == Outcome::Kind::Cancelled) {
        store_.log.line("Not delivered " + told(*document) + ": it was cancelled", fields_of(*document));
        waiting_.erase(id);
        return true;
    }
    if (outcome.kind == Outcome::Kind::Again && outcome.most_attempts > 0 &&
        document->attempts + 1 >= outcome.most_attempts) {
        outcome.kind = Outcome::Kind::Never;
    }
    const bool down = outcome.kind == Outcome::Kind::Down;
    if (down || outcome.kind == Outcome::Kind::Again) {
        put_off(*document, outcome);
    } else {
        finish(*document, outcome);
    }
    if (!down) down_ = {};
    return !down;
}

Outcome Deliverer::attempt(Document& document) {
    try {
        const Folder outbox(store_.places.outbox, Folder::Owner::Anyone);
        if (!outbox.has(document.target)) {
            return {Outcome::Kind::Again, "the job is not in the outbox", kAttemptsForMissing};
        }
        const JobFile job = JobFile::open(outbox, document.target);
        return target_->deliver({job, document, store_.places, document.attempts > 0 || document.id <= last_of_earlier_,
                                 patience_, stop_.get_token(),
                                 [&] { return store_.journal.change(document, State::Delivering); }});
    } catch (const std::exception& error) {
        return {Outcome::Kind::Down, error.what()};
    }
}

void Deliverer::finish(Document& document, const Outcome& outcome) {
    waiting_.erase(document.id);
    const bool done = outcome.kind == Outcome::Kind::Done;
    document.state = done ? State::Delivered : State::Failed;
    if (!done) document.error = outcome.why;
    if (!store_.journal.change(document, State::Delivering)) {
        // Who cancelled its delivery meanwhile came too late, or it has failed anyway.
        if (done) store_.journal.change(document, State::Filed);
    }
    const std::string why = outcome.why.empty() ? "" : ": " + outcome.why;
    if (done) {
        store_.log.line("Delivered " + told(document) + why, fields_of(document));
    } else {
        store_.log.error("Cannot be delivered: " + told(document) + why, fields_of(document));
    }
}

void Deliverer::put_off(Document& document, const Outcome& outcome) {
    Pause& pause = outcome.kind == Outcome::Kind::Down ? down_ : waiting_[document.id];
    const bool first = pause.length.count() == 0;
    pause.grow();
    const std::string line = "Not yet delivered " + told(document) + ": " + outcome.why + "; again in " +
                             std::to_string(pause.length.count()) + " s";
    if (first) {
        store_.log.error(line, fields_of(document));
    } else {
        store_.log.limited("undelivered", line);
    }
    ++document.attempts;
    document.error = outcome.why;
    store_.journal.change(document, State::Delivering);
}

}  // namespace kvdisp12
