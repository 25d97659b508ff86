#pragma once
// A contact sheet: for each page the source, what the job makes of it, and where they differ.

#include <string>

#include "tools/fidelity/picture.h"

namespace fidelity {

// Darker where they differ; white where they are the same.
Picture difference_of(const Picture& first, const Picture& second);

class ContactSheet {
public:
    void add(const Picture& source, const Picture& job, const Picture& difference);
    bool empty() const { return rows_.empty(); }
    // Rows of three pages, two such rows beside each other.
    Picture picture() const;

private:
    struct Row {
        Picture source, job, difference;
    };
    std::vector<Row> rows_;
};

}  // namespace fidelity
