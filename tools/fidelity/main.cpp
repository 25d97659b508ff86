// fidelity [-r DPI] [--finer N] [--pages FIRST-LAST] [--sheet SHEET.png] [--page-pictures PREFIX]
//          SOURCE.pdf JOB-%d.png
//
// Compares a PDF file's pages, drawn by MuPDF, with pictures of what a job makes of them, and prints a line for each:
// page, mean absolute difference, structural similarity, the same of the marked places. Both are drawn N times finer
// than DPI, and N by N pixels then become one, so that neither program's rounding to pixels counts. Pictures that are
// missing count as faults. Exit codes: 0 done, 1 a page could not be compared, 2 usage.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/fidelity/pages.h"
#include "tools/fidelity/score.h"
#include "tools/fidelity/sheet.h"

namespace fidelity {
namespace {

constexpr const char* kUsage =
    "usage: fidelity [-r DPI] [--finer N] [--pages FIRST-LAST] [--sheet SHEET.png] [--page-pictures PREFIX]\n"
    "                SOURCE.pdf JOB-%d.png\n"
    "The pictures of the job have N times DPI dots per inch and count from 1 for page FIRST.\n";

struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Options {
    double dots_per_inch = 100;
    int finer = 1;
    int first = 1, last = 0;  // 0: to the end
    std::string sheet, page_pictures, source, job;
};

Options parse(const std::vector<std::string>& words) {
    Options options;
    std::vector<std::string> files;
    for (size_t i = 0; i < words.size(); ++i) {
        auto value = [&]() -> const std::string& {
            if (++i == words.size()) throw UsageError(words[i - 1] + " needs a value");
            return words[i];
        };
        if (words[i] == "-r") {
            options.dots_per_inch = std::atof(value().c_str());
        } else if (words[i] == "--finer") {
            options.finer = std::atoi(value().c_str());
        } else if (words[i] == "--pages") {
            if (std::sscanf(value().c_str(), "%d-%d", &options.first, &options.last) != 2) throw UsageError("--pages");
        } else if (words[i] == "--sheet") {
            options.sheet = value();
        } else if (words[i] == "--page-pictures") {
            options.page_pictures = value();
        } else if (words[i].starts_with("-")) {
            throw UsageError("no such option: " + words[i]);
        } else {
            files.push_back(words[i]);
        }
    }
    const bool numbered = files.size() == 2 && files[1].find("%d") != std::string::npos;
    if (!numbered) throw UsageError("a PDF file and a pattern of pictures with %d are needed");
    if (!(options.dots_per_inch >= 1 && options.dots_per_inch <= 2400) || options.first < 1) throw UsageError("values");
    if (options.finer < 1 || options.finer > 8) throw UsageError("--finer");
    options.source = files[0];
    options.job = files[1];
    return options;
}

std::string numbered(std::string pattern, int page) {
    pattern.replace(pattern.find("%d"), 2, std::to_string(page));
    return pattern;
}

class Comparison {
public:
    explicit Comparison(const Options& options) : options_(options), pages_(options.source) {}

    bool run() {
        const int last = options_.last > 0 ? std::min(options_.last, pages_.count()) : pages_.count();
        for (int page = options_.first; page <= last; ++page) {
            try {
                compare_page(page);
            } catch (const std::exception& error) {
                std::printf("%d\t-\t-\t-\t%s\n", page, error.what());
                sound_ = false;
            }
        }
        if (!options_.sheet.empty() && !sheet_.empty()) pages_.save_png(sheet_.picture(), options_.sheet);
        return sound_;
    }

private:
    void compare_page(int page) {
        Picture source = reduced(pages_.draw(page, options_.dots_per_inch * options_.finer), options_.finer);
        Picture job = reduced(pages_.load_png(numbered(options_.job, page - options_.first + 1)), options_.finer);
        const int width = std::max(source.width, job.width), height = std::max(source.height, job.height);
        source = on_paper(source, width, height);
        job = on_paper(job, width, height);
        const Score score = compare(source, job);
        std::printf("%d\t%.3f\t%.4f\t%.4f\n", page, score.difference, score.similarity, score.ink_similarity);
        const Picture difference = difference_of(source, job);
        sheet_.add(source, job, difference);
        if (options_.page_pictures.empty()) return;
        const std::string prefix = options_.page_pictures + std::to_string(page);
        pages_.save_png(source, prefix + "-source.png");
        pages_.save_png(job, prefix + "-job.png");
        pages_.save_png(difference, prefix + "-difference.png");
    }

    const Options& options_;
    Pages pages_;
    ContactSheet sheet_;
    bool sound_ = true;
};

int main_of(const std::vector<std::string>& words) {
    enum : int { kDone = 0, kFailed = 1, kWrongUsage = 2 };
    try {
        const Options options = parse(words);
        return Comparison(options).run() ? kDone : kFailed;
    } catch (const UsageError& error) {
        std::fprintf(stderr, "fidelity: %s\n%s", error.what(), kUsage);
        return kWrongUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "fidelity: %s\n", error.what());
        return kFailed;
    }
}

}  // namespace
}  // namespace fidelity

int main(int argc, char** argv) { return fidelity::main_of({argv + 1, argv + argc}); }
