// The program itself: its exit codes and what it writes.

#include <gtest/gtest.h>
#include <png.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/kvjob/job_builder.h"
#include "tests/kvjob/samples.h"

namespace kvjob::test {
namespace {

namespace fs = std::filesystem;

class CommandTest : public testing::Test {
protected:
    CommandTest() {
        char name[] = "/tmp/kvjob_test_XXXXXX";
        folder = mkdtemp(name);
    }
    ~CommandTest() override { fs::remove_all(folder); }

    std::string store(const std::string& name, const Buffer& bytes) const {
        std::ofstream(folder / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return (folder / name).string();
    }
    // The exit code; what was said is in "out" and "err".
    int run(const std::string& arguments) const {
        const std::string command = std::string(KV_BIN_DIR "/kvjob ") + arguments + " >" + (folder / "out").string() +
                                    " 2>" + (folder / "err").string();
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string content(const std::string& name) const {
        std::ifstream in(folder / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    // Bytes red, green, blue, alpha.
    Buffer pixels(const std::string& name, int width, int height) const {
        png_image image = {};
        image.version = PNG_IMAGE_VERSION;
        if (!png_image_begin_read_from_file(&image, (folder / name).c_str())) return {};
        EXPECT_EQ(static_cast<int>(image.width), width);
        EXPECT_EQ(static_cast<int>(image.height), height);
        image.format = PNG_FORMAT_RGBA;
        Buffer bytes(PNG_IMAGE_SIZE(image));
        png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr);
        return bytes;
    }

    fs::path folder;
};

TEST_F(CommandTest, ExitCodesSayHowItWent) {
    const std::string job = store("job.kv", sample_jobs()[0]);
    Buffer damaged_bytes = sample_jobs()[0];
    damaged_bytes[21] = 99;  // the type of the first record in the page
    const std::string damaged = store("damaged.kv", damaged_bytes);
    struct Case {
        std::string arguments;
        int code;
        std::string said;
    };
    const Case cases[] = {
        {"check " + job, 0, "sound"},
        {"info " + job, 0, "pages: 2"},
        {"dump --page 1 " + job, 0, "brush definition"},
        {"--help", 0, "usage"},
        {"check " + damaged, 1, "record of type 99"},
        {"info " + (folder / "none").string(), 1, "cannot read the file"},
        {"info " + folder.string(), 1, "cannot read the file"},
        {"images --out /proc/none " + job, 1, "kvjob: "},
        {"", 2, "no command"},
        {"paint " + job, 2, "no such command"},
        {"check", 2, "no job file"},
        {"check --json " + job, 2, "unexpected: --json"},
        {"dump --page 0 " + job, 2, "--page needs a number"},
        {"dump " + job + " --page", 2, "--page needs a value"},
        {"images " + job, 2, "give --out DIR"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(run(each.arguments), each.code) << each.arguments;
        EXPECT_NE((content("out") + content("err")).find(each.said), std::string::npos)
            << each.arguments << ": " << content("out") << content("err");
    }
}

TEST_F(CommandTest, ImagesComeOutAsTheyAre) {
    JobBuilder job;
    const Buffer target = rect16(0, 0, 9, 9);
    job.start_page().end_page();
    job.start_page();
    std::vector<std::string> names;
    auto named = [&] {
        char name[32];
        std::snprintf(name, sizeof name, "page0002-%08X-", job.position());
        names.emplace_back(name);
    };
    named();
    job.record(18, Body()
                       .u8({0xCC})
                       .add(rect16(0, 0, 2, 1))
                       .add(target)
                       .add(packed_bitmap(2, 1, 1, {0x0000FF, 0xFF0000}, {0x80, 0, 0, 0})));
    named();  // half transparent red, premultiplied
    job.record(41, Body()
                       .u32({0x01FF0000})
                       .add(rect16(0, 0, 1, 1))
                       .add(target)
                       .add(packed_bitmap(1, 1, 32, {}, Body().u32({0x80800000}))));
    named();
    job.record(59, Body()
                       .u8({1, 2, 3, 0})
                       .add(rect16(0, 0, 2, 1))
                       .add(target)
                       .add(packed_bitmap(2, 1, 24, {}, {3, 2, 1, 1, 1, 1, 0, 0})));
    named();
    const Buffer mask = packed_bitmap(2, 1, 1, {0, 0xFFFFFF}, {0x40, 0, 0, 0});
    const Buffer image = packed_bitmap(2, 1, 24, {}, {3, 2, 1, 1, 1, 1, 0, 0});
    job.record(
        61, Body().u16({0}).add(rect16(0, 0, 2, 1)).u16({0, 0, 2, 0, 2, 1, 0, 1}).u32({48, 52}).add(image).add(mask));
    named();
    const Buffer stream = jpeg_stream(32, 32, false, 9, 8, 7);
    job.sized_record(31, Body().u8({0xCC}).add(rect16(0, 0, 32, 32)).add(target).add(stream));
    ASSERT_EQ(run("images --out " + folder.string() + "/a/b " + store("job.kv", job.end_page(0x28).finish())), 0);
    folder /= "a/b";
    EXPECT_EQ(pixels(names[0] + "image.png", 2, 1), (Buffer{255, 0, 0, 255, 0, 0, 255, 255}));
    EXPECT_EQ(pixels(names[1] + "image.png", 1, 1), (Buffer{255, 0, 0, 128}));
    EXPECT_EQ(pixels(names[2] + "image.png", 2, 1), (Buffer{1, 2, 3, 0, 1, 1, 1, 255}));
    EXPECT_EQ(pixels(names[3] + "image.png", 2, 1), (Buffer{1, 2, 3, 255, 1, 1, 1, 255}));
    EXPECT_EQ(pixels(names[3] + "mask.png", 2, 1), (Buffer{0, 0, 0, 255, 255, 255, 255, 255}));
    const std::string stored = content(names[4] + "image.jpg");
    EXPECT_EQ(Buffer(stored.begin(), stored.end()), stream);
    EXPECT_EQ(pixels(names[4] + "image.png", 32, 32).size(), 4096u);
    folder = folder.parent_path().parent_path();
}

}  // namespace
}  // namespace kvjob::test
