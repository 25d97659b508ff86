// The dispatcher as a process: spoken to by hand, started by the driver, and by kvprint.

#include <sys/stat.h>

#include "tests/common/pdf_text.h"
#include "tests/dispatcher/dispatcher_process.h"

namespace kv::test {
namespace {

TEST_F(ProtocolTest, AnswersWhatItCannotUnderstand) {
    start_dispatcher();
    Client client;
    const std::string header = "01000000 0200040C 01000000 01000100 00000000 0000";
    for (const std::string& request : std::initializer_list<std::string>{
             "010000", "01000000", "63000000", header, header + "41004200", header + "0000 0000 6B",
             "02" + header.substr(2), "01000000 0300040C 01000000 01000100 00000000 0000 0000 0000 0000",
             "03000000 01000000", "03000000 01"}) {
        EXPECT_EQ(client.ask(from_hex(request)), kRefused) << request;
    }
    EXPECT_EQ(client.ask(Bytes(20000, 1)), kRefused);  // longer than it reads at once
    EXPECT_EQ(client.ask(from_hex("CD000000")), (Bytes{1, 0, 0, 0}));
    const std::u16string path = make_job("x");
    EXPECT_EQ(client.end(path), kRefused);  // no job is open
    EXPECT_TRUE(fs::exists(host::host_path(path)));
    EXPECT_EQ(text_at(client.ask(from_hex("C8000000")), 0).substr(0, 16), u"C:\\Windows\\Temp\\");
    // The start, malformed messages (once a minute), Prepare, EndDoc, StartDoc's end, JobPath.
    const std::string text = log();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 6);
}

TEST_F(ProtocolTest, FilesJobsUnderNamesOfTheirOwn) {
    start_dispatcher();
    const std::u16string ideographs(255, u'\u8A9E');
    std::string longest;
    for (int i = 0; i < 66; ++i) longest += "\u8A9E";  // 198 bytes
    const std::pair<std::u16string, std::string> cases[] = {
        {u"plan", "plan.kv"},
        {u"plan", "plan (2).kv"},
        {u"PLAN", "PLAN (3).kv"},  // names that differ in case only are the same
        {u"", "Document.kv"},
        {u"a/b:c*\n.", "a_b_c__.kv"},
        {u"..\\..\\x", "_.._.._x.kv"},
        {u"Con", "_Con.kv"},
        {u"com7.x", "_com7.x.kv"},
        {u"console", "console.kv"},
        {u"Gr\u00FC\u00DFe", "Gr\u00FC\u00DFe.kv"},
        {ideographs, longest + ".kv"}};
    std::vector<std::string> expected;
    for (const auto& [name, filed] : cases) {
        Client client;
        EXPECT_NE(client.start(name), kRefused);
        const std::u16string path = make_job(std::to_string(expected.size()));
        EXPECT_NE(client.end(path), kRefused);
        EXPECT_FALSE(fs::exists(host::host_path(path)));
        EXPECT_EQ(file("data/karvo/outbox/" + filed), "KARV" + std::to_string(expected.size())) << filed;
        expected.push_back(filed);
    }
    std::ranges::sort(expected);
    EXPECT_EQ(outbox(), expected);
}

TEST_F(ProtocolTest, TouchesNothingThatIsNoJob) {
    start_dispatcher();
    const std::u16string other = make_job("other", "%PDF");
    for (const std::u16string& path : {other, std::u16string(u"C:\\missing.kv"), std::u16string(u"C:\\Windows")}) {
        Client client;
        EXPECT_NE(client.start(u"x"), kRefused);
        EXPECT_EQ(client.end(path), kRefused);
        EXPECT_EQ(client.end(path), kRefused);
    }
    EXPECT_TRUE(fs::exists(host::host_path(other)));
    EXPECT_TRUE(outbox().empty());
}

TEST_F(ProtocolTest, KeepsClientsApart) {
    configure("max-clients-per-process = 32\n");
    start_dispatcher();
    std::vector<std::unique_ptr<Client>> clients;
    std::vector<std::u16string> paths;
    for (int i = 0; i < 24; ++i) {
        clients.push_back(std::make_unique<Client>());
        EXPECT_NE(clients.back()->start(u"d", "07000000"), kRefused);  // ids are the spoolers'
        paths.push_back(make_job("c" + std::to_string(i)));
    }
    EXPECT_EQ(clients[0]->ask(from_hex("03000000 07000000")), (Bytes{1, 0, 0, 0}));
    EXPECT_EQ(clients[0]->end(paths[0], "07000000"), kRefused);
    EXPECT_EQ(clients[1]->end(paths[1], "08000000"), kRefused);  // another id than the job's
    clients[2].reset();
    wait_until([&] { return logged("its client is gone") == 1; });
    for (size_t i = 3; i < clients.size(); ++i) EXPECT_NE(clients[i]->end(paths[i], "07000000"), kRefused);
    EXPECT_EQ(outbox().size(), 21u);
    EXPECT_NE(clients[1]->end(paths[1], "07000000"), kRefused);
    // Without a spooler's id the dispatcher's counts.
    const Bytes own = clients[1]->start(u"e", "00000000");
    EXPECT_NE(own, kRefused);
    EXPECT_NE(clients[1]->end(paths[0], to_hex(own)), kRefused);
}

TEST_F(ProtocolTest, EndsWhenItIsIdle) {
    const pid_t process = start_dispatcher({"/autoexit=1", "--idle", "0.05", "/unknown=1"});
    {
        Client client;
        EXPECT_NE(client.start(u"d"), kRefused);
        usleep(200000);
        EXPECT_NE(client.end(make_job("late")), kRefused);  // a client is no idleness
    }
    EXPECT_EQ(end_of(process), 0);
    EXPECT_EQ(logged("End: idle"), 1u);
    EXPECT_FALSE(is_served());
    EXPECT_EQ(run("kvdisp12", {"/runonce"}), 0);
    EXPECT_EQ(run("kvdisp12", {"--what"}), 2);
    EXPECT_EQ(run("kvdisp12", {"/session=one"}), 2);
    EXPECT_EQ(run("kvdisp12", {"--first-document", "0"}), 2);
    EXPECT_EQ(run("kvdisp12", {"--outbox", write_file(shared + "/file", "x")}), 1);
    mkfifo((shared + "/fifo").c_str(), 0600);
    EXPECT_EQ(run("kvdisp12", {"--log", shared + "/fifo"}), 1);
}

// Its pipe's folder is removed when the user logs off, and the next dispatcher makes another one.
TEST_F(ProtocolTest, EndsWhenNobodyCanReachIt) {
    for (const bool replaced : {false, true}) {
        const pid_t process = start_dispatcher({"/autoexit=1", "--idle", "0.05"});
        auto last = std::make_unique<Client>();
        EXPECT_NE(last->start(u"d"), kRefused);
        fs::remove_all(shared + "/run/karvo");
        HANDLE other = INVALID_HANDLE_VALUE;
        std::thread serving;
        if (replaced) {
            constexpr DWORD kMode = PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE;
            other = CreateNamedPipeW(kPipe, PIPE_ACCESS_DUPLEX, kMode, 1, 0, 0, 0, nullptr);
            serving = std::thread([other] { ConnectNamedPipe(other, nullptr); });
        }
        last.reset();
        EXPECT_EQ(end_of(process), 0);
        if (replaced) serving.join();
        CloseHandle(other);
    }
}

// Clients that come just as it ends are served by it, or find nobody: none is let down half-way.
TEST_F(ProtocolTest, LetsNoClientDownWhenItEnds) {
    for (int round = 0; round < 8; ++round) {
        const pid_t process = start_dispatcher({"/autoexit=1", "--idle", "0.005"});
        bool found = true;
        for (int i = 0; i < 40 && found; ++i) {
            HANDLE pipe = open_pipe();
            found = pipe != INVALID_HANDLE_VALUE || GetLastError() == ERROR_PIPE_BUSY;
            if (pipe == INVALID_HANDLE_VALUE) continue;
            DWORD mode = PIPE_READMODE_MESSAGE, got = 0;
            BYTE request[4] = {205, 0, 0, 0}, reply[4];
            SetNamedPipeHandleState(pipe, &mode, nullptr, nullptr);
            ASSERT_TRUE(TransactNamedPipe(pipe, request, 4, reply, 4, &got, nullptr));
            CloseHandle(pipe);
            usleep(static_cast<useconds_t>(4500 + 125 * round));
        }
        EXPECT_EQ(end_of(process), 0);
    }
}

struct DrivenTest : DispatcherTest {};

TEST_F(DrivenTest, TheDriverStartsItAndFindsItAgain) {
    EXPECT_TRUE(print());
    close_device();
    EXPECT_TRUE(print());
    EXPECT_TRUE(print(7, ED_ABORTDOC));
    EXPECT_EQ(outbox(), (std::vector<std::string>{"Title (2).kv", "Title.kv"}));
    EXPECT_EQ(faults_of(job_named("Title (2).kv")), "");
    EXPECT_EQ(started().size(), 1u);
    EXPECT_EQ(logged("source \"host!kvgraph12!CDispatcher::StartDoc\""), 1u);
    EXPECT_EQ(logged("housekeeping \"minimal\""), 1u);
    EXPECT_EQ(logged(" Abort job 7"), 1u);
    EXPECT_TRUE(temporary_files().empty());
    EXPECT_TRUE(messages().empty());
}

TEST_F(DrivenTest, ItsDeathCostsNoJob) {
    open_device();
    ASSERT_TRUE(device->start_document(u"Title", 7) && device->start_page() && device->send_page());
    ASSERT_EQ(started().size(), 1u);
    kill(started()[0], SIGKILL);
    wait_until([] { return !is_served(); });
    EXPECT_TRUE(device->end_document());
    ASSERT_EQ(temporary_files().size(), 1u);  // the job stays where it is
    fs::remove(host::host_path(u"C:\\Windows\\Temp") + "/" + temporary_files()[0]);
    EXPECT_TRUE(print());  // starts another one
    EXPECT_EQ(started().size(), 2u);
    EXPECT_EQ(outbox(), std::vector<std::string>{"Title.kv"});
    EXPECT_TRUE(temporary_files().empty());
}

struct KvprintTest : DispatcherTest {
    void expect_job(int pages) const {
        const Bytes job_file = job_named("doc" + std::to_string(pages) + ".kv");
        EXPECT_EQ(faults_of(job_file), "");
        ASSERT_GT(job_file.size(), 100u);
        EXPECT_EQ(trailer_records(job_file, 21).at(0).size(), 52u + 28 * static_cast<size_t>(pages));
    }
    // A file of so many pages, with a bar on each.
    std::string pdf(int pages) const {
        PdfText text;
        text.pages.assign(static_cast<size_t>(pages), "10 10 50 9 re f");
        return write_file(shared + "/doc" + std::to_string(pages) + ".pdf", text.text());
    }
    size_t left_behind() const {
        size_t count = 0;
        for ([[maybe_unused]] const auto& entry : fs::directory_iterator(shared + "/data/karvo/drive/Windows/Temp")) {
            ++count;
        }
        return count;
    }
};

TEST_F(KvprintTest, TheFirstPrintStartsIt) {
    EXPECT_EQ(run("kvprint", {pdf(1)}), 0) << file("output");
    EXPECT_EQ(run("kvprint", {pdf(2), "--quiet"}), 0) << file("output");
    expect_job(1);
    expect_job(2);
    EXPECT_EQ(started().size(), 1u);
    EXPECT_EQ(left_behind(), 0u);
    // Content that does not inflate is found while the second page is printed: the job is withdrawn.
    std::string damaged = file("doc2.pdf");
    damaged.replace(damaged.rfind("/Length 15 "), 11, "/Filter/Fl ");
    EXPECT_EQ(run("kvprint", {"--strict", write_file(shared + "/damaged.pdf", damaged)}), 1);
    EXPECT_EQ(logged(" Abort job 1\n"), 1u);
    EXPECT_EQ(outbox().size(), 2u);
    EXPECT_EQ(left_behind(), 0u);
}

// No process has this id. What it left is cleared, but for a job that lacks nothing.
TEST_F(KvprintTest, AWholeJobOfAKilledPrintStays) {
    ASSERT_EQ(run("kvprint", {pdf(1)}), 0) << file("output");
    const Bytes job = job_named("doc1.kv");
    const std::string temporary = shared + "/data/karvo/drive/Windows/Temp/";
    for (const auto& [name, content] : {std::pair("whole", job), {"cut", Bytes(job.begin(), job.end() - 1)}}) {
        const std::string folder = temporary + "kvprint-999999999-1-" + name;
        fs::create_directory(folder);
        write_file(folder + "/KV1.tmp", content);
    }
    ASSERT_EQ(run("kvprint", {pdf(2)}), 0) << file("output");
    EXPECT_EQ(read_bytes(temporary + "kvprint-999999999-1-whole/KV1.tmp"), job);
    EXPECT_EQ(left_behind(), 1u);
}

// Eight processes with five documents each, all of one name.
TEST_F(KvprintTest, ManyAtOnceAreDeliveredOnce) {
    configure("deliver = pdf:" + shared + "/pdf\n");
    const std::string input = pdf(1);
    std::vector<pid_t> prints;
    for (int i = 0; i < 8; ++i) prints.push_back(start("kvprint", {input, input, input, input, input, "--quiet"}));
    for (pid_t print : prints) EXPECT_EQ(end_of(print), 0) << file("output");
    wait_until([&] { return logged("Delivered ") == 40; });
    std::vector<std::string> expected, delivered;
    for (int i = 2; i <= 40; ++i) expected.push_back("doc1 (" + std::to_string(i) + ").pdf");
    expected.push_back("doc1.pdf");
    for (const auto& entry : fs::directory_iterator(shared + "/pdf")) {
        delivered.push_back(entry.path().filename().string());
        EXPECT_TRUE(read_file(entry.path().string()).ends_with("%%EOF\n"));
    }
    std::ranges::sort(expected);
    std::ranges::sort(delivered);
    EXPECT_EQ(delivered, expected);
    for (const std::string& job : outbox()) EXPECT_EQ(faults_of(job_named(job)), "");
    EXPECT_EQ(outbox().size(), 40u);
    EXPECT_EQ(left_behind(), 0u);
}

TEST_F(KvprintTest, EightAtOnceStartOne) {
    std::vector<pid_t> prints;
    for (int pages = 1; pages <= 8; ++pages) prints.push_back(start("kvprint", {pdf(pages), "--quiet"}));
    for (pid_t print : prints) EXPECT_EQ(end_of(print), 0) << file("output");
    EXPECT_EQ(started().size(), 1u);
    EXPECT_EQ(outbox().size(), 8u);
    for (int pages = 1; pages <= 8; ++pages) expect_job(pages);
    EXPECT_EQ(left_behind(), 0u);
}

}  // namespace
}  // namespace kv::test
