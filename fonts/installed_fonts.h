#pragma once
// The fonts that the system has installed, as its registry lists them.

#include "fonts/text_list.h"

namespace kv {

class CInstalledFonts {
public:
    // Reads the list once. Without a list, or without memory for it, what could be read is what there is.
    CInstalledFonts() { load(); }
    CInstalledFonts(const CInstalledFonts&) = delete;
    CInstalledFonts& operator=(const CInstalledFonts&) = delete;

    // Whatever the letter case and a vertical font's prefix.
    bool has_face(const WCHAR* name) const;
    // Names of the Fonts folder, or paths; each once.
    const TextList& files() const { return files_; }

private:
    void load();

    TextList faces_, files_;
};

}  // namespace kv
