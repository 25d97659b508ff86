#include "tests/common/pdf_text.h"

#include <cstdio>
#include <map>
#include <sstream>

namespace kv::test {

std::string pdf_stream(const std::string& entries, const std::string& data) {
    return "<< /Length " + std::to_string(data.size()) + " " + entries + " >>\nstream\n" + data + "\nendstream";
}

std::string PdfText::text() const {
    std::map<int, std::string> all;
    int next = kFirstObject;
    for (const std::string& object : objects) all[next++] = object;
    std::ostringstream kids;
    for (const std::string& content : pages) {
        all[next] =
            "<< /Type /Page /Parent 2 0 R /Contents " + std::to_string(next + 1) + " 0 R " + page_entries + " >>";
        all[next + 1] = pdf_stream("", content);
        kids << next << " 0 R ";
        next += 2;
    }
    all[1] = "<< /Type /Catalog /Pages 2 0 R >>";
    all[2] = "<< /Type /Pages /Count " + std::to_string(pages.size()) + " /Kids [" + kids.str() + "] /MediaBox [0 0 " +
             std::to_string(width) + " " + std::to_string(height) + "] /Resources << " + resources + " >> >>";
    std::string pdf = "%PDF-1.7\n", table;
    for (int number = 0; number < next; ++number) {
        char entry[24] = "0000000000 65535 f \n";
        if (all.contains(number)) {
            std::snprintf(entry, sizeof entry, "%010zu 00000 n \n", pdf.size());
            pdf += std::to_string(number) + " 0 obj\n" + all[number] + "\nendobj\n";
        }
        table += entry;
    }
    return pdf + "xref\n0 " + std::to_string(next) + "\n" + table + "trailer\n<< /Size " + std::to_string(next) +
           " /Root 1 0 R >>\nstartxref\n" + std::to_string(pdf.size()) + "\n%%EOF\n";
}

}  // namespace kv::test
