#pragma once
// Finds again what was handed over or recorded and not filed: by a dispatcher that died, a client that was killed, or
// while none ran.

#include "dispatcher/filer.h"

namespace kvdisp12 {

class Recovery {
public:
    Recovery(Store& store, Filer& filer) : store_(store), filer_(filer) {}

    // Before clients come: the documents that a dispatcher that died had open.
    void settle_interrupted();
    // All that lies about and that no client holds.
    void find_all();

private:
    void adopt_sessions();
    void adopt(const std::string& state);
    void adopt(Journal& journal, Document document, const Folder& theirs);
    void find_in_spool();
    void clear_parts(const Folder& folder);
    void take_part(const Folder& folder, const std::string& name, const std::string& uuid);
    void find_in_folder(const std::string& folder, int depth);
    void take(const std::string& path);
    bool is_known(const std::string& path);
    void set_damaged_aside(const JobFile& job, Document& document);

    Store& store_;
    Filer& filer_;
    std::optional<Filer::Clock::time_point> adopted_;
};

}  // namespace kvdisp12
