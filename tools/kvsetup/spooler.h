#pragma once
// The product in the spooler: its driver, its port and its printers. Every failure is a std::runtime_error that says
// what did not succeed, with the system's text.

#include <string>
#include <vector>

#include "platform/win32.h"

namespace kvsetup {

using Text = std::wstring;

inline constexpr const WCHAR* kDriverName = TEXT("Karvo");
// A port of the system's local monitor that takes what is printed and keeps nothing: the driver gives the job to the
// dispatcher. Its name differs from "NUL:", on which jobs are withdrawn.
inline constexpr const WCHAR* kPortName = TEXT("\\\\.\\NUL");

// The environments whose drivers lie below a package's folder, the machine's own first.
struct Environment {
    const WCHAR *name, *folder;
};
std::vector<Environment> environments_of(const Text& package);

// Installs the driver from the package (karvo.inf and its folders): from the driver store where the system has one,
// else by copying. A driver that is installed is replaced; one that is in use is when the spooler starts again.
void install_driver(const Text& package, const Environment& environment);
void add_port(const Text& port);
// A printer of that name which is there is set to the driver and the port, and keeps all else.
void add_printer(const Text& printer, const Text& port);

// Remove what is there. The names of printers that were removed; warnings say what goes at the next restart.
std::vector<Text> remove_printers();
void remove_driver(std::vector<std::string>& warnings);
void remove_port(const Text& port);

}  // namespace kvsetup
