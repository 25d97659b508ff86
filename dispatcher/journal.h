#pragma once
// The journal: what became of each document, in an SQLite file of the state folder. All functions may be called from
// any thread, while other processes have it open as well; all throw JournalError.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace kvdisp12 {

class Database;
class Statement;

struct JournalError : std::runtime_error {
    explicit JournalError(const std::string& what, bool is_unusable = false)
        : std::runtime_error(what), unusable(is_unusable) {}
    bool unusable;  // damaged or of another version: another try comes to the same
};

// Announced, Taking: the client's. Taken, Filing: ours, in the spool. Delivering: in the outbox, and to be delivered.
// The others are ends.
enum class State {
    Announced,
    Taking,
    Taken,
    Filing,
    Filed,
    Delivering,
    Delivered,
    Failed,
    Refused,
    Aborted,
    Cancelled,
    Damaged
};
const char* name_of(State state);
std::optional<State> state_named(const std::string& name);

struct Document {
    int64_t id = 0;
    std::string uuid;  // its name in the spool
    State state = State::Announced;
    int64_t announced = 0, changed = 0;  // milliseconds since 1970
    std::string user;
    uint32_t session = 0, process = 0, spooler_job = 0;
    std::string printer, name;
    int64_t pages = -1, bytes = -1;       // -1: not known
    std::string source, source_identity;  // where the client had the job
    std::string target;                   // its name in the outbox
    std::string target_identity;          // of the copy that gets the name; empty where the job itself does
    std::string error;                    // the last one
    int64_t attempts = 0;                 // to file it, then to deliver it, that failed
    int64_t delivery_id = 0;              // the queue's number of its job; 0: none is known
    std::string delivery_name;            // of the PDF file that it becomes
    std::string delivery_identity;        // of that file, before it gets the name
};

// One that is in the outbox.
struct DeliveredJob {
    int64_t id, changed, bytes;
};

class Journal {
public:
    // Milliseconds since 1970.
    static int64_t now();

    enum class Access { Own, Visit, Look };

    // Own: made where there is none; one that is damaged, or of a newer version, is set aside and `told` of it.
    // Visit: for another process than the dispatcher's; it must be there. Look: the same without writing, also where it
    // is another user's, who may have put anything there.
    Journal(const std::string& path, Access access, const std::function<void(const std::string&)>& told = {});
    ~Journal();
    Journal(const Journal&) = delete;
    Journal& operator=(const Journal&) = delete;

    // Waits for what is under way; no other function may be called behind it.
    void close();

    // Gives the document its id, times and, where it has none, uuid.
    void add(Document& document);
    // Writes all of it where its state is still `from`; false where that has changed.
    bool change(Document& document, State from);
    void remove(int64_t id);

    std::optional<Document> find(int64_t id);
    std::optional<Document> find_by_uuid(const std::string& uuid);
    std::optional<Document> find_by_source(const std::string& source);
    std::optional<Document> find_by_source_identity(const std::string& identity);
    // The latest first.
    std::vector<Document> all();
    // How many documents there are of each state that has any; the latest documents that have an error.
    std::vector<std::pair<State, int64_t>> counts();
    std::vector<Document> last_errors(int64_t count);
    // The oldest first.
    std::vector<Document> in_states(std::span<const State> states);
    std::vector<Document> in_states(std::initializer_list<State> states) {
        return in_states(std::span(states.begin(), states.size()));
    }
    // The first of those behind an id.
    std::optional<Document> next_in_state(State state, int64_t after);
    // The latest document's; 0 where there is none.
    int64_t last_id();
    // The latest first.
    std::vector<DeliveredJob> delivered_jobs();

    // Forgets documents that came to their end: those that last changed before a time, the oldest beyond a number, and
    // how names were numbered that nobody has used since. But for those whose delivered job is in the outbox, where
    // these are needed.
    void prune(int64_t before, int64_t most, bool delivered_jobs_stay);

    // The number for a file of that stem to try next; the first time `look` finds it out.
    int64_t next_number(const std::string& stem, const std::function<int64_t()>& look);
    // change(), and the numbers up to this one of the stem are taken, both or none.
    bool change_and_take_number(Document& document, State from, const std::string& stem, int64_t number);

private:
    bool update(Document& document, State from);
    void open(const std::string& path, Access access);
    std::vector<Document> select(const std::string& rest, const std::function<void(Statement&)>& bind);

    std::mutex lock_;
    std::unique_ptr<Database> database_;
};

}  // namespace kvdisp12
