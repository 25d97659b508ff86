#include "dispatcher/store.h"

#include "dispatcher/native_path.h"
#include "dispatcher/safe_text.h"

namespace kvdisp12 {

std::string folder_in(const std::string& folder, const std::string& name) {
    return utf8_path(native_path(folder) / native_path(name));
}

std::string told(const Document& document) { return std::to_string(document.id) + ' ' + in_quotes(document.name); }

Fields fields_of(const Document& document) {
    return {{"KARVO_DOCUMENT", std::to_string(document.id)},
            {"KARVO_NAME", document.name},
            {"KARVO_PRINTER", document.printer},
            {"KARVO_STATE", name_of(document.state)}};
}

}  // namespace kvdisp12
