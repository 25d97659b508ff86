// What a client may try, and what becomes of its attempts.

#include <sys/file.h>
#include <sys/stat.h>

#include "dispatcher/files.h"
#include "dispatcher/safe_text.h"
#include "tests/common/pdf_text.h"
#include "tests/dispatcher/dispatcher_process.h"

namespace kv::test {
namespace {

struct AttackTest : ProtocolTest {
    static std::string in_temp(const std::string& name) { return temp() + "/" + name; }
    // What the client names, after `prepare` has made it.
    void expect_refused(const std::string& what, const std::u16string& path, const std::function<void()>& prepare) {
        prepare();
        Client client;
        ASSERT_NE(client.start(u"x"), kRefused) << what;
        EXPECT_EQ(client.end(path), kRefused) << what;
    }
};

TEST_F(AttackTest, MovesNoFileThatIsNotAPlainJobOfItsFolder) {
    start_dispatcher();
    const std::string outside = write_file(shared + "/~KVoutside.kv", "KARV");
    const std::string target = write_file(host::host_path(u"C:\\~KVtarget.kv"), "KARV");
    fs::create_directory(in_temp("folder"));
    const std::string job = write_file(in_temp("~KVjob.kv"), "KARV");
    write_file(in_temp("job.kv"), "KARV");
    write_file(in_temp("~KVjob.txt"), "KARV");
    int writer = -1;
    const std::u16string temp_path = u"C:\\Windows\\Temp\\";
    const auto link = [&](const char* name) { return in_temp(name); };
    const struct {
        const char* what;
        std::u16string path;
        std::function<void()> prepare;
    } cases[] = {
        {"a link", temp_path + u"~KVlink.kv", [&] { fs::create_symlink(target, link("~KVlink.kv")); }},
        {"a second name", temp_path + u"~KVhard.kv", [&] { fs::create_hard_link(target, link("~KVhard.kv")); }},
        {"a FIFO", temp_path + u"~KVfifo.kv", [&] { mkfifo(link("~KVfifo.kv").c_str(), 0600); }},
        {"a folder", temp_path + u"~KVdir.kv", [&] { fs::create_directory(link("~KVdir.kv")); }},
        {"a folder that is a link", temp_path + u"way\\~KVtarget.kv",
         [&] { fs::create_directory_symlink(fs::path(target).parent_path(), link("way")); }},
        {"up and down", temp_path + u"folder\\..\\~KVjob.kv", [] {}},
        {"a part that is a dot", temp_path + u".\\~KVjob.kv", [] {}},
        {"another drive's folder", u"Z:" + std::u16string(outside.begin(), outside.end()), [] {}},
        {"another folder", u"C:\\~KVtarget.kv", [] {}},
        {"no drive", u"\\Windows\\Temp\\~KVjob.kv", [] {}},
        {"the drive's folder", u"C:~KVjob.kv", [] {}},
        {"no folder", u"~KVjob.kv", [] {}},
        {"a device's name space", u"\\\\?\\C:\\Windows\\Temp\\~KVjob.kv", [] {}},
        {"a server", u"\\\\localhost\\C$\\Windows\\Temp\\~KVjob.kv", [] {}},
        {"a stream", temp_path + u"~KVjob.kv:s.kv", [] {}},
        {"other slashes", u"C:/Windows/Temp/~KVjob.kv", [] {}},
        {"another name", temp_path + u"job.kv", [] {}},
        {"another extension", temp_path + u"~KVjob.txt", [] {}},
        {"a dot at the end", temp_path + u"~KVjob.kv.", [] {}},
        {"too long", temp_path + std::u16string(260, u'\\') + u"~KVjob.kv", [] {}},
        {"no job", temp_path + u"~KVtext.kv", [&] { write_file(link("~KVtext.kv"), "%PDF"); }},
        {"an empty file", temp_path + u"~KVempty.kv", [&] { write_file(link("~KVempty.kv"), ""); }},
        {"a writer", temp_path + u"~KVjob.kv", [&] { writer = open(job.c_str(), O_WRONLY | O_CLOEXEC); }},
        {"a recording", temp_path + u"~KVjob.kv",
         [&] {
             close(std::exchange(writer, open(job.c_str(), O_RDONLY | O_CLOEXEC)));
             flock(writer, LOCK_EX);
         }},
        {"another user's", temp_path + u"~KVjob.kv",
         [&] {
             close(writer);
             // Where the test has no right to give files away it is one that is missing.
             if (chown(job.c_str(), 12345, 12345) != 0) fs::remove(job);
         }},
    };
    for (const auto& each : cases) expect_refused(each.what, each.path, each.prepare);
    EXPECT_TRUE(fs::exists(target) && fs::exists(outside));
    EXPECT_TRUE(fs::is_symlink(in_temp("~KVlink.kv")) && fs::exists(in_temp("~KVfifo.kv")));
    EXPECT_TRUE(outbox().empty());
}

TEST_F(AttackTest, WhatIsMovedIsWhatWasChecked) {
    using namespace kvdisp12;
    const std::vector<std::string> roots = {temp()};
    const std::string path = write_file(in_temp("~KVa.kv"), "KARV checked");
    const JobFile job = JobFile::open(u"C:\\Windows\\Temp\\~KVa.kv", roots, false);
    EXPECT_THROW(JobFile::open(u"C:\\Windows\\Temp\\~KVa.kv", roots, false), FileError);  // taken once
    fs::rename(path, in_temp("away"));
    write_file(path, "secret");
    const Folder spool(shared + "/spool", Folder::Owner::Ours);
    EXPECT_EQ(job.move_to(spool, "a.kv"), Moved::Done);
    EXPECT_EQ(job.move_to(spool, "a.kv"), Moved::NameTaken);
    EXPECT_TRUE(job.remove_source());
    EXPECT_EQ(read_file(shared + "/spool/a.kv"), "KARV checked");
    EXPECT_EQ(read_file(path), "secret");  // not the one that was opened
    EXPECT_EQ(fs::status(shared + "/spool").permissions(), fs::perms::owner_all);
    EXPECT_EQ(fs::status(shared + "/spool/a.kv").permissions(), fs::perms::owner_read | fs::perms::owner_write);
    fs::create_directory_symlink(shared + "/spool", shared + "/link");
    EXPECT_THROW(Folder(shared + "/link", Folder::Owner::Ours), FileError);
    EXPECT_THROW(Folder(write_file(shared + "/plain", ""), Folder::Owner::Ours), FileError);
}

TEST_F(AttackTest, SilentClientsLeaveRoomForOtherProcesses) {
    configure("first-document = 1h\n");
    start("kvdisp12", {});  // on the drive of all of the user's programs
    wait_until(is_served);
    std::vector<HANDLE> silent;
    for (int i = 0; i < 300; ++i) silent.push_back(open_pipe());
    PdfText text;
    text.pages = {"10 10 50 9 re f"};
    EXPECT_EQ(run("kvprint", {write_file(shared + "/doc.pdf", text.text())}), 0) << file("output");
    wait_until([&] { return logged("further ones wait") > 0; });
    EXPECT_EQ(logged("further ones wait"), 1u);  // said once a minute
    for (HANDLE pipe : silent) {
        if (pipe != INVALID_HANDLE_VALUE) CloseHandle(pipe);
    }
    wait_until([] { return CloseHandle(open_pipe()); });
}

TEST_F(AttackTest, LeavesWhoAnnouncesNothingAndRefusesASecondDocument) {
    configure("first-document = 50ms\n");
    start_dispatcher();
    const HANDLE silent = open_pipe();
    wait_until([&] { return logged("it announces nothing") == 1; });
    CloseHandle(silent);
    Client client;
    EXPECT_NE(client.start(u"first"), kRefused);
    EXPECT_EQ(client.start(u"second"), kRefused);
    EXPECT_NE(client.end(make_job("first")), kRefused);
    EXPECT_EQ(outbox(), std::vector<std::string>{"first.kv"});
}

TEST_F(AttackTest, EndsThoughAClientReadsNoAnswers) {
    const pid_t process = start_dispatcher();
    const HANDLE pipe = open_pipe();
    const BYTE status[] = {0x2C, 1, 0, 0};
    DWORD written = 0;
    for (int i = 0; i < 350; ++i) EXPECT_TRUE(WriteFile(pipe, status, sizeof status, &written, nullptr));
    usleep(200000);  // it waits for room for its answer
    kill(process, SIGTERM);
    EXPECT_EQ(end_of(process), 0);
    EXPECT_EQ(logged("End: told to"), 1u);
    CloseHandle(pipe);
}

TEST_F(AttackTest, RefusesDocumentsWhereSpaceIsShort) {
    configure("min-free = 1000000G\n");
    start_dispatcher();
    Client client;
    EXPECT_EQ(client.start(u"large"), kRefused);
    EXPECT_EQ(logged("refused: "), 1u);
}

TEST_F(AttackTest, TextsOfOthersEndNoLineAndNameNoOption) {
    start_dispatcher();
    Client client;
    EXPECT_NE(client.start(u"-rf\n2026 Start source \u202E~\u2028"), kRefused);
    EXPECT_NE(client.end(make_job("x")), kRefused);
    EXPECT_EQ(outbox(), std::vector<std::string>{"_-rf_2026 Start source _~_.kv"});
    EXPECT_EQ(logged("\"-rf\\u000A2026 Start source \\u202E~\\u2028\""), 3u);  // start, end, filed
    EXPECT_EQ(kvdisp12::in_quotes(std::u16string(u"a\"b\\\u0085")), "\"a\\\"b\\\\\\u0085\"");
}

}  // namespace
}  // namespace kv::test
