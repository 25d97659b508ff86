// Delivery to queues: of a server that misbehaves, and of CUPS itself. Each document gets there once.

#include "tests/dispatcher/cups_server.h"
#include "tests/dispatcher/delivering.h"
#include "tests/dispatcher/ipp_server.h"

namespace kv::test {
namespace {

using Way = IppServer::Way;

struct QueueTest : ::testing::Test {
    QueueTest() : house({false, false}, drawable_job()), state(house.places.state, Folder::Owner::Ours) {}

    // Another dispatcher each time; the document's state behind it.
    State deliver(const std::string& destination, int patience = 20) {
        Delivering dispatcher(house, destination, &lines, std::chrono::seconds(patience));
        dispatcher.work();
        return dispatcher.first().state;
    }
    static void expect_one_document(const IppServer& server) {
        size_t documents = 0;
        for (const IppServer::Job& job : server.jobs()) {
            documents += job.documents.size();
            for (const std::string& each : job.documents)
                EXPECT_TRUE(each.starts_with("%PDF") && each.ends_with("EOF\n"));
        }
        EXPECT_EQ(documents, 1u);
    }

    House house;
    Folder state;
    std::vector<std::string> lines;
};

TEST_F(QueueTest, GetsTheJobsFacts) {
    kvjob::test::JobBuilder job;
    job.start_page(300).end_page(4);
    const Bytes bytes = job.finish({{23, from_hex("70000A006E000000")},
                                    {40, from_hex("63006F0070006900650073000000 320000000000")},
                                    {37, from_hex("00000000 2C01 54007200610079002000320000 00")}});
    write_file(house.temp + "/~KV1.kv", bytes);
    IppServer server;
    ASSERT_EQ(deliver(server.destination()), State::Delivered) << lines.back();
    expect_one_document(server);
    auto attributes = server.jobs()[0].attributes;
    EXPECT_TRUE(attributes["job-name"].starts_with("karvo-"));
    EXPECT_EQ(attributes["printer-uri"], "ipp://localhost/printers/office");
    EXPECT_EQ(attributes["requesting-user-name"], user_name());
    EXPECT_EQ(attributes["copies"], "2");
    // 8.5 x 11 inches.
    EXPECT_EQ(attributes["media-col"], "{media-size={x-dimension=21590 y-dimension=27940} media-source=tray-2}");
    EXPECT_EQ(server.asked("Get-Jobs"), 0);  // nothing can be there
}

// What goes wrong at the first attempt, of which request; how the document stands then; what is wrong at the second
// one.
struct Fault {
    const char* operation;
    Way way;
    int status;
    State then;
    bool cancelled = false;
};
void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.operation << static_cast<int>(fault.way); }

struct FaultyQueueTest : QueueTest, ::testing::WithParamInterface<Fault> {};

TEST_P(FaultyQueueTest, GetsItOnce) {
    IppServer server;
    const Fault fault = GetParam();
    server.meet(fault.operation, fault.way, fault.status);
    EXPECT_EQ(deliver(server.destination(), fault.way == Way::Hang ? 1 : 20), fault.then) << lines.back();
    EXPECT_EQ(!server.jobs().empty() && server.jobs()[0].cancelled, fault.cancelled);
    if (fault.then == State::Failed) return;
    server.meet(fault.operation, Way::Answer);
    EXPECT_EQ(deliver(server.destination()), State::Delivered) << lines.back();
    expect_one_document(server);
    EXPECT_EQ(server.jobs().size(), 1u);
}

INSTANTIATE_TEST_SUITE_P(Faults, FaultyQueueTest,
                         ::testing::Values(Fault{"Create-Job", Way::Refuse, 0x0506, State::Delivering},
                                           Fault{"Create-Job", Way::Refuse, 0x0406, State::Delivering},
                                           Fault{"Create-Job", Way::Refuse, 0x040B, State::Failed},
                                           Fault{"Create-Job", Way::Close, 0, State::Delivering},
                                           Fault{"Create-Job", Way::Hang, 0, State::Delivering},
                                           Fault{"Send-Document", Way::Refuse, 0x0507, State::Delivering},
                                           Fault{"Send-Document", Way::Refuse, 0x040A, State::Failed, true},
                                           Fault{"Send-Document", Way::Close, 0, State::Delivering},
                                           Fault{"Send-Document", Way::Hang, 0, State::Delivering}));

TEST_F(QueueTest, WaitsForOneThatIsDown) {
    const std::string nobody = IppServer().destination();
    EXPECT_EQ(deliver(nobody), State::Delivering);
    EXPECT_NE(lines.back().find("cannot be reached"), std::string::npos);
    IppServer server;
    EXPECT_EQ(deliver(server.destination()), State::Delivered);
    expect_one_document(server);
}

// It may have been printed.
TEST_F(QueueTest, WhatAQueueForgotIsNotSentAgainUnasked) {
    IppServer server;
    server.meet("Send-Document", Way::Close);
    EXPECT_EQ(deliver(server.destination()), State::Delivering);
    server.forget_jobs();
    server.meet("Send-Document", Way::Answer);
    EXPECT_EQ(deliver(server.destination()), State::Failed);
    EXPECT_NE(lines.back().find("no longer knows its job 1"), std::string::npos);
    EXPECT_TRUE(server.jobs().empty());
}

TEST_F(QueueTest, DeathSendsNothingTwice) {
    int n = 1;
    for (bool stopped = true; stopped; ++n) {
        IppServer server(IppServer::Begin::WhenStarted);
        House own({false, false}, drawable_job());
        const Folder own_state(own.places.state, Folder::Owner::Ours);
        Delivering(own, server.destination()).recovery.find_all();
        stopped = interrupted([&] { Delivering(own, server.destination()).deliverer.deliver_waiting(true); },
                              Stop::Kill, n, [&] { server.start(); });
        Delivering dispatcher(own, server.destination(), &lines);
        dispatcher.deliverer.deliver_waiting(true);
        EXPECT_EQ(dispatcher.first().state, State::Delivered) << n << lines.back();
        expect_one_document(server);
        if (HasFailure()) return;
    }
    EXPECT_GT(n, 20);
}

struct CupsTest : QueueTest {
    void SetUp() override {
        if (!CupsServer::is_installed()) GTEST_SKIP() << CupsServer::kProgram << " is missing";
        server = std::make_unique<CupsServer>();
    }
    // The journal as it is when the dispatcher dies after CUPS has it: the number noted down, or not yet.
    void forget(bool number) {
        Dispatcher dispatcher(house.places);
        kvdisp12::Document document = dispatcher.journal.find(1).value();
        document.state = State::Delivering;
        if (number) document.delivery_id = 0;
        ASSERT_TRUE(dispatcher.journal.change(document, State::Delivered));
    }
    std::unique_ptr<CupsServer> server;
};

TEST_F(CupsTest, PrintsADocumentOnce) {
    ASSERT_EQ(deliver(server->destination()), State::Delivered) << lines.back();
    for (const bool number : {false, true}) {
        forget(number);
        EXPECT_EQ(deliver(server->destination()), State::Delivered) << lines.back();
    }
    ASSERT_EQ(server->documents().size(), 1u);
    const std::string pdf = server->documents()[0];
    EXPECT_TRUE(pdf.starts_with("%PDF") && pdf.ends_with("EOF\n"));
}

TEST_F(CupsTest, IsWaitedForWhileItHangsOrIsDown) {
    server->signal_it(SIGSTOP);
    EXPECT_EQ(deliver(server->destination(), 1), State::Delivering);
    server->signal_it(SIGCONT);
    server->stop();
    EXPECT_EQ(deliver(server->destination()), State::Delivering);
    server->start();
    EXPECT_EQ(deliver("cups:nowhere" + server->destination().substr(11)), State::Delivering);
    EXPECT_NE(lines.back().find("client-error-not-found"), std::string::npos) << lines.back();
    EXPECT_EQ(deliver(server->destination()), State::Delivered) << lines.back();
    EXPECT_EQ(server->documents().size(), 1u);
}

TEST_F(CupsTest, DeathSendsNothingTwice) {
    constexpr int kStep = 4;  // of the calls; every one is the test's above
    size_t documents = 0;
    for (bool stopped = true; stopped;) {
        House own({false, false}, drawable_job());
        const Folder own_state(own.places.state, Folder::Owner::Ours);
        Delivering(own, server->destination()).recovery.find_all();
        const int call = 1 + kStep * static_cast<int>(documents++);
        stopped = interrupted([&] { Delivering(own, server->destination()).deliverer.deliver_waiting(true); },
                              Stop::Kill, call);
        Delivering dispatcher(own, server->destination());
        dispatcher.deliverer.deliver_waiting(true);
        EXPECT_EQ(dispatcher.first().state, State::Delivered) << call;
        ASSERT_EQ(server->documents().size(), documents);
    }
    EXPECT_GT(documents, 5u);
}

}  // namespace
}  // namespace kv::test
