#pragma once
// Finds again what was handed over or recorded and not filed: by a dispatcher that died, a client that was killed, or
// while none ran.

#include "dispatcher/intake.h"

namespace kvdisp12 {

class Recovery {
public:
    Recovery(Store& store, Filer& filer, Intake& intake) : store_(store), filer_(filer), intake_(intake) {}

    // Before clients come: what a dispatcher that died had under way.
    void settle_interrupted();
    // All that lies about and that no client holds.
    void find_all();

private:
    void settle_taking(Document& document, const Folder& spool);
    void find_in_spool();
    void clear_parts();
    // clients: there are some that have a document open.
    void find_in_folder(const std::string& folder, int depth, bool clients);
    void take(const std::string& path);
    void set_damaged_aside(JobFile& job, Document& document);

    Store& store_;
    Filer& filer_;
    Intake& intake_;
};

}  // namespace kvdisp12
