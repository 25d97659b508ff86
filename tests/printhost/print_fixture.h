#pragma once
// Prints PDF files with the built program and reads the jobs with the job reader.

#include <gtest/gtest.h>

#include "tests/common/pdf_text.h"
#include "tests/common/workspace.h"

namespace kvprint {

using namespace kv::test;

using Lines = std::vector<std::string>;

// At 144 dots per inch a point of the page is two pixels, and the page of 720 points has 1440.
class Print : public testing::Test {
protected:
    // What a page of these contents records, a line each; without the page's start and end.
    Lines records_of(const std::string& content, const std::string& resources = "", const std::string& options = "");
    // The pixels of the images that the job holds, in their order, masks after their images: rows of hexadecimal
    // colours, red first, with alpha last where there is one.
    Lines images();

    // Prints, checks the job and returns it.
    std::string job(const std::string& options = "");

    Workspace workspace;
    PdfText pdf;
    std::string messages;
};

}  // namespace kvprint
