#include "dispatcher/store.h"

#include <algorithm>

#include "dispatcher/native_path.h"
#include "dispatcher/safe_text.h"

namespace kvdisp12 {

std::string folder_in(const std::string& folder, const std::string& name) {
    return utf8_path(native_path(folder) / native_path(name));
}

std::vector<std::string> folders_like(const std::string& pattern) {
    const size_t mark = std::min(pattern.find("%u"), pattern.size());
    const auto parent = native_path(pattern.substr(0, mark)).parent_path();
    const std::string rest = pattern.substr(std::min(mark + 2, pattern.size()));
    std::vector<std::string> folders;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(parent, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::string folder = utf8_path(entry->path()) + rest;
        std::error_code none;
        if (std::filesystem::is_directory(native_path(folder), none)) folders.push_back(folder);
    }
    return folders;
}

std::string told(const Document& document) { return std::to_string(document.id) + ' ' + in_quotes(document.name); }

Fields fields_of(const Document& document) {
    return {{"KARVO_DOCUMENT", std::to_string(document.id)},
            {"KARVO_NAME", document.name},
            {"KARVO_PRINTER", document.printer},
            {"KARVO_STATE", name_of(document.state)}};
}

}  // namespace kvdisp12
