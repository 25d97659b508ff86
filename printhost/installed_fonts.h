#pragma once
// The fonts that are installed on this machine, as the driver finds them in the registry.

#include <set>
#include <string>

namespace kvprint {

class InstalledFonts {
public:
    // Puts them under the registry's key of fonts. Done before the driver is loaded.
    InstalledFonts();
    // Whether one goes by that full name or PostScript name, without regard to case.
    bool has(const std::string& name) const;

private:
    std::set<std::string> names_;  // in small letters
};

}  // namespace kvprint
