#pragma once
// What of a document could not be printed, in words for people: the page and the thing.

#include <map>
#include <string>
#include <vector>

#include "printhost/bounded_memory.h"
#include "printhost/mupdf.h"

namespace kvprint {

struct Warning {
    int page;  // from 1; 0: the whole document
    std::string what;
    size_t count;

    std::string line() const;
};

class Warnings {
public:
    // Whose refusals are the cause of what fails meanwhile; it has to live as long.
    void blame(const BoundedMemory& memory) { memory_ = &memory; }
    // What follows is about that page, from 1; 0: about the document.
    void at_page(int number) { page_ = number; }
    // The same thing more than once on a page is one line.
    void add(const std::string& what, size_t count = 1) {
        if (!paused_) counts_[{page_, what}] += count;
    }

    // While it lives nothing is added.
    class Pause {
    public:
        explicit Pause(Warnings& warnings) : warnings_(warnings) { warnings_.paused_ = true; }
        ~Pause() { warnings_.paused_ = false; }
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

    private:
        Warnings& warnings_;
    };

    // What is being drawn, or read, while it lives; at most one warning. Null: nothing that the library says is of
    // interest. The messages of decoders that know no context are for the warnings of the latest
    // one of their thread.
    class Subject {
    public:
        Subject(Warnings& warnings, const char* thing, const char* kind = nullptr);
        ~Subject();
        Subject(const Subject&) = delete;
        Subject& operator=(const Subject&) = delete;

        // how: "not drawn", "not decoded", ...
        void fail(const char* how) { fault_ = how; }

    private:
        friend class Warnings;
        Warnings& warnings_;
        Subject* const outer_;
        Warnings* const before_;  // of the thread
        const char *thing_, *kind_, *fault_ = nullptr;
        const size_t refusals_;
    };
    // A message of the library: one about data that are missing is about the subject.
    void take_message(const char* message);

    // Something is wrong with what is being drawn.
    bool is_at_fault() const { return subject_ && subject_->fault_; }

    bool any() const { return !counts_.empty(); }
    bool any_at(int page) const;
    std::vector<Warning> all() const;  // by page

private:
    size_t refusals() const { return memory_ ? memory_->refusals() : 0; }

    const BoundedMemory* memory_ = nullptr;
    int page_ = 0;
    bool paused_ = false;
    Subject* subject_ = nullptr;
    std::map<std::pair<int, std::string>, size_t> counts_;
};

// Of the context that reads the document.
inline Warnings& warnings_of(fz_context* context) { return *static_cast<Warnings*>(fz_user_context(context)); }

}  // namespace kvprint
