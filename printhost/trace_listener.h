#pragma once
// The driver's trace as the print host hears it: what failed the document first is for the line that says why nothing
// was printed, and all of it for standard error where the user asks.

#include <string>

namespace kvprint {

class TraceListener {
public:
    // What the driver has to tell whatever the user asks for, to be followed by that.
    static constexpr const char* kLevels = "record:error,";

    // Listens until it is destroyed; there is one at a time. wanted: by the user, empty for nothing. Lines are shown,
    // too, where the environment asks for them.
    explicit TraceListener(const std::string& wanted);
    ~TraceListener();
    TraceListener(const TraceListener&) = delete;
    TraceListener& operator=(const TraceListener&) = delete;

    // " (WriteBytes failed at position 26 of the job, last error 112)", or nothing.
    std::string first_failure() const { return failure_; }
    // Whether the driver said of a job for the dispatcher that it was deleted.
    bool lost_job() const { return lost_job_; }

private:
    void take(const std::string& line);

    const bool shows_;
    std::string failure_;
    bool lost_job_ = false;
};

}  // namespace kvprint
