#pragma once
// What all that handle documents share: places, journal, log, who works on what.

#include <functional>

#include "dispatcher/claims.h"
#include "dispatcher/files.h"
#include "dispatcher/journal.h"
#include "dispatcher/log.h"

namespace kvdisp12 {

std::string folder_in(const std::string& folder, const std::string& name);
// Folders whose path is the pattern, with some name in the place of %u.
std::vector<std::string> folders_like(const std::string& pattern);

struct Places {
    std::string state;               // the folder of the journal, the spool and what is damaged
    std::string outbox;              // where jobs are filed
    std::vector<std::string> roots;  // where clients' jobs may lie

    std::string spool() const { return folder_in(state, "spool"); }
    std::string damaged() const { return folder_in(state, "damaged"); }
    std::string work() const { return folder_in(state, "work"); }  // what is made for a delivery and goes behind it
};

struct Store {
    const Places& places;
    Journal& journal;
    Log& log;
    Claims claims;
    std::mutex opening;                  // held while a client's job is opened and noted down, so that it is taken once
    std::function<void()> wake = [] {};  // has what waits be looked at now
    std::function<void()> deliver = {};  // told that a document is to be delivered; empty where none is
};

// The name of a document's job in the spool.
inline std::string spool_name(const Document& document) { return document.uuid + ".kv"; }
// "17 "name"" for lines of the log, and its fields.
std::string told(const Document& document);
Fields fields_of(const Document& document);

}  // namespace kvdisp12
