// Tells what a job holds and draws its first page: example JOB.kv PAGE.ppm
// With CMake see CMakeLists.txt; else c++ -std=c++20 example.cpp $(pkg-config --cflags --libs kvjob)
#include <kvjob/kvjob.h>

#include <cstdio>
#include <fstream>

int main(int count, char** words) try {
    if (count != 3) return std::fprintf(stderr, "usage: example JOB.kv PAGE.ppm\n"), 2;
    const karvo::Job job = karvo::Job::open(words[1]);
    for (const karvo::Finding& finding : job.check()) {
        std::printf("fault at %llu: %s\n", static_cast<unsigned long long>(finding.offset), finding.message.c_str());
    }
    const karvo::Document& document = job.document();
    std::printf("title: %s\npages: %zu\n", document.title.c_str(), document.pages.size());
    for (size_t page = 0; page < document.pages.size(); ++page) {
        size_t records = 0;
        for (const karvo::Record& record : job.records(page)) records += record.type != 0;
        std::printf("page %zu: %zu records\n%s", page + 1, records, job.text(page).c_str());
    }
    for (const karvo::Font& font : job.fonts()) {
        std::printf("font: %d pixels, %s\n", font.height, font.file ? "in the job" : font.face.c_str());
    }
    job.for_each_image([](const karvo::Image& image) {
        std::printf("%s: %d x %d, %s\n", image.kind, image.width, image.height, image.encoding);
    });

    constexpr double kDotsPerInch = 50;
    const auto [width, height] = job.size(0, kDotsPerInch);
    std::ofstream picture(words[2], std::ios::binary);
    picture << "P6\n" << width << ' ' << height << "\n255\n";
    job.draw(0, {.dots_per_inch = kDotsPerInch}, [&](std::span<const uint32_t> row) {
        for (const uint32_t pixel : row) {
            picture.put(static_cast<char>(pixel >> 16))
                .put(static_cast<char>(pixel >> 8))
                .put(static_cast<char>(pixel));
        }
    });
    return picture.flush() ? 0 : 1;
} catch (const std::exception& error) {
    return std::fprintf(stderr, "%s\n", error.what()), 1;
}
