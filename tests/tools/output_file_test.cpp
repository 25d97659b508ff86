// What a program leaves of its outputs, whatever stands in their places and however it ends.

#include "tools/common/output_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <optional>
#include <thread>

#include "reader/job_file.h"
#include "tests/common/workspace.h"

namespace kvtools::test {
namespace {

namespace fs = std::filesystem;

const kv::test::Bytes kNew = {'n', 'e', 'w'};

// The error, or nothing.
std::string written(const std::string& path, const std::vector<std::string>& inputs = {}) {
    try {
        OutputFile file(path, inputs);
        file.write(kNew);
        file.finish();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(OutputFileTest, PlainFilesAreReplacedAndLinksFollowed) {
    const kv::test::Workspace folder;
    folder.write("old", std::string("old"));
    fs::permissions(folder.path("old"), fs::perms{0640});
    fs::create_symlink("old", folder.path("link"));
    fs::create_symlink(folder.path("link"), folder.path("further"));
    fs::create_symlink("nothing", folder.path("dangling"));
    for (const auto& [target, file] : {std::pair("fresh", "fresh"), {"further", "old"}, {"dangling", "nothing"}}) {
        { OutputFile(folder.path(target)).write(kNew); }  // is not finished
        EXPECT_NE(folder.read(file), "new") << target;
        EXPECT_EQ(written(folder.path(target)), "");
        EXPECT_EQ(folder.read(file), "new") << target;
    }
    EXPECT_EQ(fs::status(folder.path("old")).permissions(), fs::perms{0640});
    EXPECT_TRUE(fs::is_symlink(folder.path("link")) && fs::is_symlink(folder.path("dangling")));
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"dangling", "fresh", "further", "link", "nothing", "old"}));
}

TEST(OutputFileTest, OtherFilesAreWrittenInto) {
    const kv::test::Workspace folder;
    const std::string fifo = folder.path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string received;
    std::thread reader([&] { received = kv::test::read_file(fifo); });
    EXPECT_EQ(written(fifo), "");
    reader.join();
    EXPECT_EQ(received, "new");
    EXPECT_TRUE(fs::is_fifo(fifo));
    const int file = open(folder.write("log", std::string("old ")).c_str(), O_WRONLY | O_APPEND);
    EXPECT_EQ(written("/dev/fd/" + std::to_string(file)), "");
    close(file);
    EXPECT_EQ(folder.read("log"), "old new");
}

TEST(OutputFileTest, WhatCannotBeWrittenIsSaid) {
    const kv::test::Workspace folder;
    const std::string input = folder.write("input", std::string("job"));
    fs::create_hard_link(input, folder.path("same"));
    const std::tuple<std::string, const char*> cases[] = {
        {folder.path("same"), ": it is the input"},
        {folder.path(""), ": Is a directory"},
        {folder.path("none/file"), ": No such file or directory"},
        {input + "/file", ": Not a directory"},
        {"/dev/full", ": No space left on device"},
    };
    for (const auto& [path, reason] : cases) EXPECT_EQ(written(path, {input}), "cannot write " + path + reason);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"input", "same"}));
    EXPECT_EQ(folder.read("input"), "job");
}

TEST(OutputFileTest, AnInterruptionLeavesNothing) {
    const kv::test::Workspace folder;
    folder.write("file", std::string("old"));
    const pid_t child = fork();
    if (child == 0) {
        prepare_output();
        OutputFile file(folder.path("file"));
        file.write(kNew);
        raise(SIGTERM);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    EXPECT_EQ(folder.names(), std::vector<std::string>{"file"});
    EXPECT_EQ(folder.read("file"), "old");
}

// Small files are read as a whole; a larger one that is cut ends the program, and nothing unfinished stays.
TEST(JobFileTest, AFileMayBeCutShortWhileItIsOpen) {
    const kv::test::Workspace workspace;
    const std::string path = workspace.path("job.kv");
    for (const off_t length : {off_t{1} << 20, off_t{65} << 20}) {
        workspace.write("job.kv", "KARV");
        ASSERT_EQ(truncate(path.c_str(), length), 0);
        const bool small = length < (64 << 20);
        auto look = [&] {
            prepare_output();
            std::optional<OutputFile> unfinished;
            if (!small) unfinished.emplace(workspace.path("new"));
            const kvjob::JobFile job(path);
            if (truncate(path.c_str(), 4) != 0) std::exit(2);
            std::exit(job.bytes()[job.bytes().size() - 1]);
        };
        EXPECT_EXIT(look(), testing::ExitedWithCode(small ? 0 : 1), small ? "" : "cut short while it was read");
        EXPECT_EQ(std::distance(fs::directory_iterator(workspace.path(".")), {}), 1);
    }
}

}  // namespace
}  // namespace kvtools::test
