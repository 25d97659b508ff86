#pragma once
// The report's frame: report.html with the style, the script and the data in their places.

#include <string>
#include <string_view>

#include "reader/json.h"
#include "reader/output.h"

namespace kvjob {

// Text that is none but text, in an element or a quoted attribute.
std::string escaped(std::string_view text);

class HtmlFile {
public:
    // Writes what stands before the data.
    HtmlFile(Output& out, const std::string& title);

    // Data for the script, which it finds by this name (letters, digits and dashes).
    void add(const std::string& name, const Json& value);
    // Starts what is shown: to be called when the first page's data are there.
    void add_script();
    void finish();

private:
    void write(std::string_view text);
    // What stands in the frame up to a place, which is left out.
    std::string_view frame_before(std::string_view place);

    Output& out_;
    std::string_view frame_;
};

}  // namespace kvjob
