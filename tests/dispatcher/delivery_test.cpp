// Filed jobs delivered as PDF files and to programs: each once, whatever comes between.

#include "tests/dispatcher/delivering.h"

namespace kv::test {
namespace {

struct DeliveryTest : ::testing::Test {
    DeliveryTest() : house({false, false}, drawable_job()), state(house.places.state, Folder::Owner::Ours) {}
    // A program that is delivered to.
    std::string program(const std::string& script) const {
        return "command:/bin/sh " + write_file(house.temp + "/program", script);
    }
    std::string pdf_folder() const { return house.places.state + "/pdf"; }

    House house;
    Folder state;
    std::vector<std::string> lines;
};

TEST(DestinationTest, IsReadAsItIsWritten) {
    using Words = std::vector<std::string>;
    EXPECT_EQ(parse_destination("pdf:a b:c").folder, "a b:c");
    const Destination queue = parse_destination("cups:office@printers:8631");
    EXPECT_EQ(queue.queue + " " + queue.host, "office printers:8631");
    EXPECT_EQ(parse_destination("command:/bin/a  'b  \"c' \"\" d\"e f\"").words,
              (Words{"/bin/a", "b  \"c", "", "de f"}));
    for (const char* text : {"", "pdf", "pdf:", "cups:", "cups:@host", "cups:queue@", "command:", "command:ls",
                             "command:/bin/a 'b", "mail:someone"}) {
        EXPECT_THROW(parse_destination(text), std::invalid_argument) << text;
    }
}

TEST_F(DeliveryTest, AsPdfUnderTheJobsName) {
    fs::create_directory(pdf_folder());
    write_file(pdf_folder() + "/plan.pdf", "another's");
    Delivering dispatcher(house, "pdf:" + pdf_folder());
    dispatcher.work();
    EXPECT_EQ(dispatcher.first().state, State::Delivered);
    EXPECT_EQ(dispatcher.first().delivery_name, "plan (2).pdf");
    EXPECT_EQ(read_file(pdf_folder() + "/plan.pdf"), "another's");
    const std::string pdf = read_file(pdf_folder() + "/plan (2).pdf");
    EXPECT_TRUE(pdf.starts_with("%PDF-") && pdf.ends_with("%%EOF\n"));
    EXPECT_EQ(files_in(pdf_folder()).size(), 2u);
    EXPECT_EQ(files_in(house.places.outbox), std::vector<std::string>{"plan.kv"});
}

// The first link is where the unfinished file would go, the second one where the finished one would.
TEST_F(DeliveryTest, FollowsNoLinks) {
    const std::string other = write_file(house.temp + "/other", "another's");
    fs::create_directory(pdf_folder());
    fs::create_symlink(other, pdf_folder() + "/plan.pdf");
    Delivering dispatcher(house, "pdf:" + pdf_folder());
    dispatcher.recovery.find_all();
    fs::create_symlink(other, pdf_folder() + "/~" + dispatcher.first().uuid + ".pdf.part");
    dispatcher.work();
    EXPECT_EQ(dispatcher.first().delivery_name, "plan (2).pdf");
    EXPECT_EQ(read_file(other), "another's");
}

// Of one that is cancelled while it is drawn, and of one whose dispatcher was killed before; what is another's stays.
TEST_F(DeliveryTest, NothingIsLeftOfCancelledDocuments) {
    Delivering dispatcher(house, "pdf:" + pdf_folder());
    dispatcher.recovery.find_all();
    Document document = dispatcher.first();
    const JobFile job = JobFile::open(Folder(house.places.outbox, Folder::Owner::Ours), document.target);
    const auto target = make_target(parse_destination("pdf:" + pdf_folder()));
    const auto cancelled = [] { return false; };
    const Attempt attempt{job, document, house.places, false, std::chrono::seconds(20), {}, cancelled};
    EXPECT_EQ(target->deliver(attempt).kind, Outcome::Kind::Cancelled);
    EXPECT_TRUE(files_in(pdf_folder()).empty());
    document = dispatcher.first();
    document.state = State::Filed;
    ASSERT_TRUE(dispatcher.journal.change(document, State::Delivering));
    write_file(pdf_folder() + "/~" + document.uuid + ".pdf.part", "%PDF");
    write_file(pdf_folder() + "/~another.pdf.part", "%PDF");
    dispatcher.deliverer.deliver_waiting(false);
    EXPECT_EQ(files_in(pdf_folder()), std::vector<std::string>{"~another.pdf.part"});
}

TEST_F(DeliveryTest, WhatCannotBeDrawnFails) {
    kvjob::test::JobBuilder job;
    job.start_page().raw({35, 200}).end_page();  // a record that reaches beyond its page
    write_file(house.temp + "/~KV1.kv", job.finish());
    Delivering dispatcher(house, "pdf:" + pdf_folder(), &lines);
    dispatcher.work();
    EXPECT_EQ(dispatcher.first().state, State::Failed);
    EXPECT_TRUE(files_in(pdf_folder()).empty());
    EXPECT_EQ(files_in(house.places.outbox).size(), 1u);
    EXPECT_NE(lines.back().find("drawing: exit code 1: \"-: 0x"), std::string::npos) << lines.back();
}

TEST_F(DeliveryTest, AFolderThatIsNoneDelaysIt) {
    write_file(pdf_folder(), "");
    Delivering dispatcher(house, "pdf:" + pdf_folder());
    dispatcher.work();
    EXPECT_EQ(dispatcher.first().state, State::Delivering);
    EXPECT_EQ(dispatcher.first().attempts, 1);
    fs::remove(pdf_folder());
    dispatcher.deliverer.deliver_waiting(false);  // its time has not come
    EXPECT_EQ(dispatcher.first().state, State::Delivering);
    dispatcher.deliverer.deliver_waiting(true);
    EXPECT_EQ(files_in(pdf_folder()), std::vector<std::string>{"plan.pdf"});
}

TEST_F(DeliveryTest, ProgramsAreToldTheFacts) {
    const std::string told = house.temp + "/told";
    Delivering dispatcher(house, program("env | grep ^KARVO_ | sort >" + told + "; pwd >>" + told +
                                         "; cat $KARVO_JOB >>" + told + "; echo $1 >>" + told + "; touch left") +
                                     " 'a b'");
    Document document;
    document.state = State::Filing;
    document.name = "x\n\u202Ey";
    document.printer = "P";
    document.user = "U";
    document.pages = 1;
    document.target = "x.kv";
    dispatcher.journal.add(document);
    document.state = State::Delivering;
    dispatcher.journal.change(document, State::Filing);
    fs::create_directory(house.places.outbox);
    write_file(house.places.outbox + "/x.kv", "KARV");
    dispatcher.deliverer.deliver_waiting(true);
    EXPECT_EQ(dispatcher.first().state, State::Delivered);
    EXPECT_EQ(read_file(told), "KARVO_ATTEMPT=1\nKARVO_BYTES=4\nKARVO_ID=1\nKARVO_JOB=" + house.places.outbox +
                                   "/x.kv\nKARVO_NAME=x  y\nKARVO_PAGES=1\nKARVO_PRINTER=P\nKARVO_REPEATED=0\n"
                                   "KARVO_SESSION=0\nKARVO_USER=U\nKARVO_UUID=" +
                                   document.uuid + "\n" + house.places.work() + "/" + document.uuid + "\nKARVa b\n");
    EXPECT_TRUE(files_in(house.places.work()).empty());
}

TEST_F(DeliveryTest, ExitCodesDecide) {
    const std::pair<const char*, State> cases[] = {{"exit 0", State::Delivered},
                                                   {"exit 75", State::Delivering},
                                                   {"kill -9 $$", State::Delivering},
                                                   {"exit 1", State::Failed},
                                                   {"exit 255", State::Failed}};
    for (const auto& [script, then] : cases) {
        House own({false, false}, drawable_job());
        const Folder own_state(own.places.state, Folder::Owner::Ours);
        Delivering dispatcher(own, program(script));
        dispatcher.work();
        EXPECT_EQ(dispatcher.first().state, then) << script;
    }
    Delivering dispatcher(house, "command:/nowhere/program");
    dispatcher.work();
    EXPECT_EQ(dispatcher.first().state, State::Delivering);
}

TEST_F(DeliveryTest, WhatProgramsSayIsOneLineOfTheLog) {
    Delivering dispatcher(house, program("printf 'a\\nb\\033' >&2; yes | head -c 100000; exit 1"), &lines);
    dispatcher.work();
    EXPECT_NE(lines.back().find("command: exit code 1: \"a\\u000Ab\\u001By"), std::string::npos);
    EXPECT_LT(lines.back().size(), 20000u);
}

// The end of the dispatcher does not wait for a program that hangs, and the document is delivered later.
TEST_F(DeliveryTest, IsBrokenOffAtTheEnd) {
    const std::string begun = house.temp + "/begun";
    {
        Delivering dispatcher(house, program("sleep 1000 & echo $! >" + begun + "; wait"));
        dispatcher.recovery.find_all();
        dispatcher.deliverer.start();
        while (read_file(begun).empty()) usleep(1000);
        EXPECT_TRUE(dispatcher.deliverer.has_work());
        dispatcher.deliverer.stop();
        EXPECT_EQ(dispatcher.first().state, State::Delivering);
        EXPECT_EQ(dispatcher.first().attempts, 0);
    }
    const std::string process = read_file(begun);
    while (kill(std::stoi(process), 0) == 0 &&
           read_file("/proc/" + process.substr(0, process.size() - 1) + "/stat").find(") Z") == std::string::npos)
        usleep(1000);
    Delivering(house, program("exit 0")).work();
    EXPECT_EQ(Delivering(house, program("exit 0")).first().state, State::Delivered);
}

TEST_F(DeliveryTest, DeathMakesNoSecondPdf) {
    int n = 1;
    for (bool stopped = true; stopped; ++n) {
        House own({false, false}, drawable_job());
        const Folder own_state(own.places.state, Folder::Owner::Ours);
        const std::string destination = "pdf:" + own.places.state + "/pdf";
        { Dispatcher(own.places).recovery.find_all(); }
        {
            Delivering dispatcher(own, destination);
            Document document = dispatcher.first();
            document.state = State::Delivering;
            ASSERT_TRUE(dispatcher.journal.change(document, State::Filed));
        }
        stopped = interrupted([&] { Delivering(own, destination).deliverer.deliver_waiting(true); }, Stop::Kill, n);
        Delivering dispatcher(own, destination);
        dispatcher.deliverer.deliver_waiting(true);
        EXPECT_EQ(dispatcher.first().state, State::Delivered) << n;
        EXPECT_EQ(files_in(own.places.state + "/pdf"), std::vector<std::string>{"plan.pdf"}) << n;
    }
    EXPECT_GT(n, 15);
}

}  // namespace
}  // namespace kv::test
