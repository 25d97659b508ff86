#pragma once
// Where filed jobs go next: a folder that gets them as PDF files, a queue of CUPS, or a program.

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

#include "dispatcher/files.h"
#include "dispatcher/journal.h"
#include "dispatcher/store.h"

namespace kvdisp12 {

// As it is written: "pdf:DIR", "cups:QUEUE[@HOST[:PORT]]", "command:PROGRAM ARGUMENTS".
struct Destination {
    enum class Kind { None, Pdf, Cups, Command } kind = Kind::None;
    std::string folder;              // of Pdf
    std::string queue, host;         // of Cups; without a host, the one that this user's programs print to
    std::vector<std::string> words;  // of Command: a program's full path, and arguments
};
// Throws std::invalid_argument with what is wrong. Words of a command are parted by blanks; quotes of either kind,
// which have no meaning inside of each other, keep blanks.
Destination parse_destination(const std::string& text);

struct Outcome {
    enum class Kind {
        Done,
        Again,      // this document has to wait
        Down,       // all have to
        Never,      // another try comes to the same
        Cancelled,  // it is not to be delivered any more
        Stopped     // the dispatcher ends
    } kind;
    std::string why = {};
    int64_t most_attempts = 0;  // of Again: after which it is Never; 0: there is no end
};

// One attempt to deliver a document.
struct Attempt {
    const JobFile& job;
    Document& document;
    const Places& places;
    bool repeated;                  // an earlier one may have come further than the journal tells
    std::chrono::seconds patience;  // for a drawing, a program, an answer
    std::stop_token stop;           // requested: comes to its end soon
    std::function<bool()> note;     // writes the document into the journal; false: it is not to be delivered any more
};

class Target {
public:
    virtual ~Target() = default;
    // Anything that it throws means that the target is down.
    virtual Outcome deliver(const Attempt& attempt) = 0;
    // Removes what attempts left that did not come to their end, of documents that are ours by their uuid. May throw.
    virtual void sweep(const std::function<bool(const std::string& uuid)>&) {}
};

std::unique_ptr<Target> make_command_target(const std::vector<std::string>& words);
// Throws std::runtime_error where this system has no such target.
std::unique_ptr<Target> make_target(const Destination& destination);

}  // namespace kvdisp12
