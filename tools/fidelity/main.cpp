// Compares a PDF file's pages, drawn by MuPDF, with pictures of what a job makes of them, and prints a line for each:
// page, mean absolute difference, structural similarity, the same of the marked places. Both are drawn N times finer
// than DPI, and N by N pixels then become one, so that neither program's rounding to pixels counts. Pictures that are
// missing count as faults. Exit codes: 0 done, 1 a page could not be compared, 2 usage.

#include <cstdio>
#include <numeric>
#include <string>
#include <vector>

#include "tools/fidelity/options.h"
#include "tools/fidelity/pages.h"
#include "tools/fidelity/score.h"
#include "tools/fidelity/sheet.h"

namespace fidelity {
namespace {

std::string numbered(std::string pattern, int page) {
    pattern.replace(pattern.find("%d"), 2, std::to_string(page));
    return pattern;
}

class Comparison {
public:
    explicit Comparison(const Options& options) : options_(options), pages_(options.source) {}

    bool run() {
        const std::vector<size_t> chosen = choose();
        for (size_t i = 0; i < chosen.size(); ++i) {
            const int page = static_cast<int>(chosen[i]);
            try {
                compare_page(page, static_cast<int>(i) + 1);
            } catch (const std::exception& error) {
                std::printf("%d\t-\t-\t-\t%s\n", page, error.what());
                sound_ = false;
            }
        }
        if (!options_.sheet.empty() && !sheet_.empty()) pages_.save_png(sheet_.picture(), options_.sheet);
        return sound_;
    }

private:
    std::vector<size_t> choose() const {
        const auto count = static_cast<size_t>(pages_.count());
        if (options_.pages) return options_.pages(count);
        std::vector<size_t> all(count);
        std::iota(all.begin(), all.end(), size_t{1});
        return all;
    }

    // picture: of the job, from 1.
    void compare_page(int page, int picture) {
        Picture source = reduced(pages_.draw(page, options_.dots_per_inch * options_.finer), options_.finer);
        Picture job = reduced(pages_.load_png(numbered(options_.job, picture)), options_.finer);
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

}  // namespace
}  // namespace fidelity

int main(int argc, char** argv) {
    CLI::App app;
    fidelity::Options options;
    fidelity::describe(app, options);
    return kv::cli::run(app, {argv + 1, argv + argc},
                        [&] { return fidelity::Comparison(options).run() ? kv::cli::kDone : kv::cli::kFailed; });
}
