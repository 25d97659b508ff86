#pragma once
// A list of what was recorded as text, for those who compare a job with its source. A line each:
//   page NUMBER SCALE X Y   what follows is on that page; pixels a point, and where its corner lies, device pixels
//   glyph X Y               where a glyph's origin is, device pixels
//   font MD5 SIZE           a font file as the driver was given it, when it is used first

#include <cstdio>
#include <memory>
#include <set>
#include <string>

#include "engine/font_file.h"
#include "printhost/text_runs.h"

namespace kvprint {

class TextList {
public:
    // Throws std::runtime_error when the file cannot be written.
    explicit TextList(const std::string& path);

    void page(int number, float scale, double x, double y);
    void add(const TextRun& run, const std::shared_ptr<kv::engine::FontFile>& file);
    void finish();

private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::string path_;
    std::unique_ptr<std::FILE, Close> out_;
    std::set<std::weak_ptr<kv::engine::FontFile>, std::owner_less<>> seen_;
};

}  // namespace kvprint
