#pragma once
// Printing without a file to write: the driver hands the job to the user's dispatcher, which it starts when needed.

#include <string>

namespace kvprint {

// Makes this process one of the user's machine, with the dispatcher installed there, and gives it a temporary folder of
// its own. Made before the driver is loaded.
class Handover {
public:
    // Throws OutputFault when there is no dispatcher beside this program or no temporary folder.
    Handover();
    // Removes the temporary folder, unless a job is left in it.
    ~Handover();
    Handover(const Handover&) = delete;
    Handover& operator=(const Handover&) = delete;

    // After the document's end: throws OutputFault when the dispatcher did not take the job, and says where it is.
    void finish() const;

private:
    std::string folder_;
};

}  // namespace kvprint
