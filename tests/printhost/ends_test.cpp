// Where jobs go, and what is left where they cannot.

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <regex>

#include "tests/printhost/print_fixture.h"

namespace kvprint {
namespace {

namespace fs = std::filesystem;

class Ends : public Print {
protected:
    Ends() {
        pdf.pages = {"0 0 100 100 re f"};
        workspace.write("in.pdf", pdf.text());
        temporary_ = workspace.path("tmp");
        fs::create_directory(temporary_);
    }
    // With a temporary folder of its own, in which nothing may stay.
    ProgramRun print(const std::string& arguments, const std::string& before = "") {
        const ProgramRun printed =
            run(workspace, "kvprint", arguments, "TMPDIR='" + temporary_ + "'; export TMPDIR; " + before);
        EXPECT_TRUE(fs::is_empty(temporary_)) << arguments;
        return printed;
    }
    mode_t mode_of(const std::string& name) const {
        struct stat info = {};
        stat(workspace.path(name).c_str(), &info);
        return info.st_mode & 07777;
    }

    std::string temporary_;
};

TEST_F(Ends, TheInputIsNeverTheOutput) {
    fs::create_hard_link(workspace.path("in.pdf"), workspace.path("hard"));
    fs::create_symlink("in.pdf", workspace.path("soft"));
    for (const char* arguments : {"in.pdf -o in.pdf", "in.pdf -o ./tmp/../in.pdf", "in.pdf -o hard", "in.pdf -o soft",
                                  "soft -o in.pdf", "- -o in.pdf <in.pdf", "in.pdf -o out.kv --list-text hard"}) {
        const ProgramRun refused = print(arguments);
        EXPECT_EQ(refused.exit_code, 1) << arguments;
        EXPECT_TRUE(refused.errors.ends_with(" is the input itself\n")) << refused.errors;
    }
    EXPECT_EQ(workspace.read("in.pdf"), pdf.text());
    EXPECT_EQ(workspace.names(), Lines({"hard", "in.pdf", "soft", "tmp"}));
}

TEST_F(Ends, FilesLinksPipesAndStandardOutput) {
    ASSERT_EQ(print("in.pdf -o new.kv --quiet", "umask 027; ").exit_code, 0);
    EXPECT_EQ(mode_of("new.kv"), 0640u);
    const std::string whole = workspace.read("new.kv");
    EXPECT_EQ(run(workspace, "kvjob", "check new.kv").exit_code, 0);

    workspace.write("old.kv", "an older job");
    chmod(workspace.path("old.kv").c_str(), 0604);
    fs::create_symlink("old.kv", workspace.path("link"));
    fs::create_symlink("later.kv", workspace.path("dangling"));
    mkfifo(workspace.path("pipe").c_str(), 0600);
    for (const char* arguments : {"-o link", "-o dangling", "-o pipe & cat pipe >piped.kv; wait $!"}) {
        EXPECT_EQ(print("in.pdf --quiet " + std::string(arguments)).exit_code, 0) << arguments;
    }
    EXPECT_EQ(mode_of("old.kv"), 0604u);
    EXPECT_TRUE(fs::is_symlink(workspace.path("link")));
    EXPECT_TRUE(fs::is_fifo(workspace.path("pipe")));
    for (const char* name : {"old.kv", "later.kv", "piped.kv"}) EXPECT_EQ(workspace.read(name), whole) << name;
    EXPECT_EQ(print("in.pdf -o -").output, whole);  // and the closing line elsewhere
    EXPECT_EQ(print("in.pdf --quiet -o /dev/stdout | cat").output, whole);
    EXPECT_EQ(print("- --quiet -o - <in.pdf").output.size(), whole.size() - 2 * std::string("n.pdf").size());
}

TEST_F(Ends, WhatCannotBeWrittenIsAFaultOfTheOutput) {
    std::string noise;
    for (uint32_t i = 0, next = 1; i < 60000; ++i) noise += static_cast<char>((next = next * 1103515245 + 12345) >> 16);
    pdf.objects = {
        pdf_stream("/Type /XObject /Subtype /Image /Width 200 /Height 300 /ColorSpace /DeviceGray "
                   "/BitsPerComponent 8",
                   noise)};
    pdf.resources = "/XObject << /I 10 0 R >>";
    pdf.pages = {"q 100 0 0 100 0 0 cm /I Do Q"};
    workspace.write("in.pdf", pdf.text());
    workspace.write("out.kv", "an older job");
    const std::tuple<const char*, const char*, std::string> cases[] = {
        {"in.pdf -o /dev/full", "", "cannot write /dev/full: No space left on device\n"},
        {"in.pdf -o no/out.kv", "", "cannot write no/out.kv: No such file or directory\n"},
        {"in.pdf -o tmp", "", "cannot write tmp: Is a directory\n"},
        {"in.pdf -o new.kv --list-text /dev/full", "", "cannot write /dev/full: No space left on device\n"},
        {"in.pdf -o new.kv --list-text tmp", "", "cannot write tmp: Is a directory\n"},
        {"in.pdf -o out.kv", "ulimit -f 20; ",
         "the job cannot be recorded in " + temporary_ +
             ": The disk is full. (flush_tail failed at position N, last error 112)\n"},
        {"in.pdf -o -  2>said | : ; sleep 0.5; cat said >&2; false", "", "cannot write standard output: Broken pipe\n"},
    };
    for (const auto& [arguments, before, message] : cases) {
        const ProgramRun failed = print(arguments, before);
        EXPECT_EQ(failed.exit_code, 1) << arguments;
        // Where it failed depends on what the JPEG library makes of the noise.
        EXPECT_EQ(std::regex_replace(failed.errors, std::regex("position [0-9]+"), "position N"), "kvprint: " + message)
            << arguments;
    }
    EXPECT_EQ(workspace.read("out.kv"), "an older job");
    EXPECT_EQ(workspace.names(), Lines({"in.pdf", "out.kv", "said", "tmp"}));
}

TEST_F(Ends, SignalsLeaveNothing) {
    pdf.pages = Lines(30000, "0 0 100 100 re f");  // some seconds of work
    workspace.write("in.pdf", pdf.text());
    const std::string begun = "in.pdf -o out.kv & while [ -z \"$(ls tmp)\" ]; do sleep 0.05; done; kill -";
    for (const int number : {SIGTERM, SIGHUP, SIGXFSZ}) {
        const ProgramRun ended = print(begun + std::to_string(number) + " $!; wait $!");
        EXPECT_EQ(ended.exit_code, 128 + number);
    }
    EXPECT_EQ(workspace.names(), Lines({"in.pdf", "tmp"}));
    // What a killed process left is its user's alone, and goes with the next one.
    run(workspace, "kvprint", begun + "9 $!; wait $!", "TMPDIR='" + temporary_ + "'; export TMPDIR; ");
    ASSERT_FALSE(fs::is_empty(temporary_));
    for (const auto& left : fs::directory_iterator(temporary_)) {
        EXPECT_EQ(left.status().permissions(), fs::perms::owner_all);
    }
    print("in.pdf --pages 1 -o out.kv --quiet");
}

}  // namespace
}  // namespace kvprint
