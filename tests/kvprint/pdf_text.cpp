#include "tests/kvprint/pdf_text.h"

#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace kvprint {

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

Workspace::Workspace() {
    std::string pattern = (std::filesystem::temp_directory_path() / "kvprint-test-XXXXXX").string();
    folder_ = mkdtemp(pattern.data());
}

Workspace::~Workspace() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string Workspace::write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
}

std::vector<std::string> Workspace::names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

ProgramRun run(const Workspace& workspace, const std::string& program, const std::string& arguments) {
    const std::string output = workspace.path(".output"), errors = workspace.path(".errors");
    const std::string command = "cd '" + workspace.path(".") + "' && " KV_BIN_DIR "/" + program + " " + arguments +
                                " >" + output + " 2>" + errors;
    const int status = std::system(command.c_str());
    ProgramRun result = {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(output), read_file(errors)};
    std::filesystem::remove(output);
    std::filesystem::remove(errors);
    return result;
}

}  // namespace kvprint
