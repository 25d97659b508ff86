#pragma once
// The folder that finished jobs go to.

#include <stdexcept>

#include "dispatcher/text.h"

namespace kvdisp12 {

struct OutboxError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class Outbox {
public:
    // Creates the folder with those above it. Throws OutboxError when it cannot be had.
    explicit Outbox(Text folder);

    // Moves a job file into the folder, named after its document, and gives the new path. Nothing is overwritten: a
    // name that is taken gets a number. Throws OutboxError when the file is no job or cannot be moved; it stays where
    // it is then, or in the folder under a name ending in ".part".
    Text take(const Text& job, const Text& document_name) const;

private:
    Text join(TextView name) const;

    Text folder_;
};

// What a file can be called of a document's name, at most 200 bytes of UTF-8.
Text file_name_of(TextView document_name);

}  // namespace kvdisp12
