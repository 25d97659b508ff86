// The program itself: its exit codes and what it writes.

#include <gtest/gtest.h>
#include <png.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <thread>

#include "tests/common/job_builder.h"
#include "tests/common/samples.h"
#include "tests/common/workspace.h"

namespace kvjob::test {
namespace {

class CommandTest : public testing::Test {
protected:
    // The exit code; what was said stays.
    int run(const std::string& arguments) {
        const kv::test::ProgramRun ended = kv::test::run(workspace, "kvjob", arguments);
        said = ended.output + ended.errors;
        return ended.exit_code;
    }
    // Bytes red, green, blue, alpha.
    Buffer pixels(const std::string& name, unsigned width, unsigned height) const {
        png_image image = {};
        image.version = PNG_IMAGE_VERSION;
        if (!png_image_begin_read_from_file(&image, workspace.path(name).c_str())) return {};
        EXPECT_TRUE(image.width == width && image.height == height) << name;
        image.format = PNG_FORMAT_RGBA;
        Buffer bytes(PNG_IMAGE_SIZE(image));
        png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr);
        return bytes;
    }

    kv::test::Workspace workspace;
    std::string said;
};

TEST_F(CommandTest, ExitCodesSayHowItWent) {
    Buffer job = sample_jobs()[0];
    workspace.write("job", job);
    job[21] = 99;  // the type of the first record in the page
    workspace.write("damaged", job);
    workspace.write("picture", std::string("\x89PNG and more"));
    std::filesystem::create_hard_link(workspace.path("job"), workspace.path("same.png"));
    for (const char* name : {"full.pdf", "full.png", "full.svg", "full.kv", "full.html"}) {
        std::filesystem::create_symlink("/dev/full", workspace.path(name));
    }
    const std::tuple<const char*, int, const char*> cases[] = {
        {"check job", 0, "sound"},
        {"info job", 0, "pages: 3"},
        {"dump --page 1 job", 0, "brush definition"},
        {"dump --pages 9 job", 1, "--pages 9: the document has 3 pages"},
        {"render --format png -o - job", 1, "several pages need files of their own"},
        {"render --format png --pages 2 -o - job", 0, "\x89PNG"},
        {"render --format pdf -o - - <job", 0, "%PDF"},
        {"report -o - job", 0, "<!DOCTYPE html>"},
        {"recover -o - - <damaged", 3, "KARV"},
        {"pages -o - --pages 2 - job <job", 0, "KARV"},
        {"--help", 0, "usage"},
        {"text - <job", 0, "\f"},
        {"info - <job", 0, "program"},
        {"check none job", 1, "job: sound"},
        {"info picture", 1, "picture: 0x0: not a job file"},
        {"dump /dev/zero", 1, "not a job file"},
        {"recover -o saved damaged", 3, "22 bytes lost: record of type 99"},
        {"check saved", 0, "saved: sound"},
        {"info --recover damaged", 3, "pages: 3"},
        {"recover -o damaged damaged", 1, "it is the input"},
        {"pages -o new --pages last,1-2,9 job job", 0, "--pages 9: the document has 6 pages"},
        {"check new", 0, "sound"},
        {"info new", 0, "pages: 3"},
        {"pages -o job job same.png", 1, "cannot write job: it is the input"},
        {"pages -o new2 job damaged", 3, "damaged: 0x15: left out: "},
        {"pages -o new2 job picture", 1, "picture: 0x0: not a job file"},
        {"recover -o saved picture", 1, "not a job file"},
        {"check damaged", 1, "record of type 99"},
        {"render --pages 1 -o same.png job", 1, "cannot write same.png: it is the input"},
        {"render -o full.pdf job", 1, "cannot write full.pdf: No space left on device"},
        {"render -o full.svg --pages 1 job", 1, "cannot write full.svg: No space left on device"},
        {"pdf -o - job >/dev/full", 1, "cannot write standard output: No space left on device"},
        {"pdf -o - --title Other job", 0, "/Title (Other)"},
        {"pdf -o job job", 1, "cannot write job: it is the input"},
        {"pages -o full.kv job", 1, "cannot write full.kv: No space left on device"},
        {"render --pages 1 -o full.png job", 1, "cannot write full.png: No space left on device"},
        {"report -o full.html job", 1, "cannot write full.html: No space left on device"},
        {"report -o job.html --pages 2,9 job", 0, "--pages 9: the document has 3 pages"},
        {"report -o job job", 1, "it is the input"},
        {"report -o damaged.html --recover damaged", 3, "22 bytes lost: record of type 99"},
        {"report -o picture.html picture", 1, "picture: 0x0: not a job file"},
        {"dump job >/dev/full 2>said; exit $?", 1, ""},
        {"dump job >&- 2>said; exit $?", 1, ""},
        {"info none", 1, "cannot read the file"},
        {"info .", 1, "cannot read the file"},
        {"images --out /proc/none job", 1, "cannot make the folder /proc/none: "},
        {"images --out job job", 1, "cannot make the folder job: Not a directory"},
        {"dump job --page", 2, "--pages needs a value"},
    };
    for (const auto& [arguments, code, words] : cases) {
        EXPECT_EQ(run(arguments), code) << arguments;
        EXPECT_NE(said.find(words), std::string::npos) << arguments << ": " << said;
    }
    EXPECT_FALSE(std::filesystem::exists(workspace.path("picture.html")));
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
    ASSERT_EQ(mkfifo(workspace.path("fifo").c_str(), 0600), 0);
    std::thread writer([&] { workspace.write("fifo", sample_jobs()[0]); });
    EXPECT_EQ(run("check fifo"), 0) << said;
    writer.join();
}

TEST_F(CommandTest, ImagesComeOutAsTheyAre) {
    const Buffer target = rect16(0, 0, 9, 9), two = rect16(0, 0, 2, 1);
    const Buffer image = packed_bitmap(2, 1, 24, {}, {3, 2, 1, 1, 1, 1, 0, 0});
    const Buffer stream = jpeg_stream(32, 32, false, 9, 8, 7);
    JobBuilder job;
    job.start_page().end_page();
    job.start_page();
    std::vector<std::string> names;
    auto add = [&](int type, const Buffer& body) {
        char name[32];
        std::snprintf(name, sizeof name, "a/b/page0002-%08X-", job.position());
        names.emplace_back(name);
        body.size() > 300 ? job.sized_record(type, body) : job.record(type, body);
    };
    const Buffer red_blue = packed_bitmap(2, 1, 1, {0x0000FF, 0xFF0000}, {0x80, 0, 0, 0});
    add(18, Body().u8({0xCC}).add(two).add(target).add(red_blue));
    const Buffer half_red = packed_bitmap(1, 1, 32, {}, Body().u32({0x80800000}));  // premultiplied
    add(41, Body().u32({0x01FF0000}).add(rect16(0, 0, 1, 1)).add(target).add(half_red));
    add(59, Body().u8({1, 2, 3, 0}).add(two).add(target).add(image));
    const Buffer mask = packed_bitmap(2, 1, 1, {0, 0xFFFFFF}, {0x40, 0, 0, 0});
    add(61, Body().u16({0}).add(two).u16({0, 0, 2, 0, 2, 1, 0, 1}).u32({48, 52}).add(image).add(mask));
    add(31, Body().u8({0xCC}).add(rect16(0, 0, 32, 32)).add(target).add(stream));
    add(59, Body().u8({9, 9, 9, 1}).add(rect16(0, 0, 32, 32)).add(target).add(stream));
    workspace.write("job.kv", job.end_page(0x28).finish());
    ASSERT_EQ(run("images --out a/b job.kv"), 0);
    EXPECT_EQ(pixels(names[0] + "image.png", 2, 1), (Buffer{255, 0, 0, 255, 0, 0, 255, 255}));
    EXPECT_EQ(pixels(names[1] + "image.png", 1, 1), (Buffer{255, 0, 0, 128}));
    EXPECT_EQ(pixels(names[2] + "image.png", 2, 1), (Buffer{1, 2, 3, 0, 1, 1, 1, 255}));
    EXPECT_EQ(pixels(names[3] + "image.png", 2, 1), (Buffer{1, 2, 3, 255, 1, 1, 1, 255}));
    EXPECT_EQ(pixels(names[3] + "mask.png", 2, 1), (Buffer{0, 0, 0, 255, 255, 255, 255, 255}));
    EXPECT_EQ(kv::test::read_bytes(workspace.path(names[4] + "image.jpg")), stream);
    EXPECT_EQ(pixels(names[4] + "image.png", 32, 32).size(), 4096u);
    const Buffer keyed = pixels(names[5] + "image.png", 32, 32);  // nearly the key
    for (size_t i = 3; i < keyed.size(); i += 4) EXPECT_EQ(keyed[i], 0);
}

}  // namespace
}  // namespace kvjob::test
