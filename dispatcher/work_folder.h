#pragma once
// A folder for one delivery, in the state folder.

#include <filesystem>

#include "dispatcher/files.h"
#include "dispatcher/store.h"

namespace kvdisp12 {

// A folder that goes with the object, and all that was put into it.
class WorkFolder {
public:
    WorkFolder(const Places& places, const std::string& name) : path_(folder_in(places.work(), name)) {
        const Folder parent(places.work(), Folder::Owner::Ours);
        remove();
        const Folder own(path_, Folder::Owner::Ours);
    }
    ~WorkFolder() { remove(); }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    const std::string& path() const { return path_; }

private:
    void remove() const {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    const std::string path_;
};

}  // namespace kvdisp12
