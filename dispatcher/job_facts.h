#pragma once
// What a job says of itself at its end (docs/job-format.md): whether it is whole, its pages and its document's name.

#include <map>

#include "dispatcher/files.h"
#include "dispatcher/journal.h"

namespace kvdisp12 {

struct JobFacts {
    bool whole = false;  // it has a trailer, which a recording gets at its very end
    int64_t pages = -1;
    Text name;
};

// How it is to be printed, as far as it says so.
struct JobTicket {
    int width = 0, height = 0;      // of the first page's paper, upright, in hundredths of a millimetre; 0: not known
    Text tray;                      // the name of the first page's
    std::map<Text, Text> attached;  // what the application attached, the latest of each name
};

// Reads a few KiB from the end. Nothing in the file is trusted: it may say anything, and gets 256 units of name.
JobFacts read_facts(const JobFile& job);
// The same; nothing of a job without an end.
JobTicket read_ticket(const JobFile& job);

// What the job says of itself and where it lies, for the journal.
JobFacts note_source(const JobFile& job, Document& document);

}  // namespace kvdisp12
