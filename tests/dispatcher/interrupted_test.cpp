// A dispatcher that dies, or is told by the system that nothing can be written, before and after every system call of a
// document: afterwards its job is in the outbox, once.

#include "tests/dispatcher/house.h"

namespace kv::test {
namespace {

// A whole job of one page: magic, summary (52 bytes, pages at 48), the document's name, where the trailer begins.
std::string whole_job() {
    const std::string summary = "\x15\x34" + std::string(48, '\0') + std::string("\1\0\0\0", 4);
    const std::string name("\x17\x0Ap\0l\0a\0n\0\0\0", 12);
    return "KARV" + summary + name + std::string("\x26\x04\x04\0\0\0", 6);
}

void take_document(const House& house) {
    const Folder state(house.places.state, Folder::Owner::Ours);
    Dispatcher dispatcher(house.places);
    Announcement announcement;
    announcement.name = u"plan";
    const Client client{1, Peer::User};
    const int64_t id = dispatcher.intake.announce(announcement, client);
    if (id != 0) dispatcher.intake.hand_over(id, house.job_path(), client);
}

// The same place from the next start on.
void recover(const House& house) {
    const Folder state(house.places.state, Folder::Owner::Ours);
    Dispatcher dispatcher(house.places);
    dispatcher.recovery.settle_interrupted();
    dispatcher.recovery.find_all();
}

void expect_filed_once(const House& house, const std::string& when) {
    recover(house);
    const std::vector<std::string> filed = files_in(house.places.outbox);
    ASSERT_EQ(filed, std::vector<std::string>{"plan.kv"}) << when;  // no number is lost by another attempt
    EXPECT_EQ(read_file(house.places.outbox + "/" + filed[0]), whole_job()) << when;
    EXPECT_TRUE(files_in(house.temp).empty()) << when;
    EXPECT_TRUE(files_in(house.places.spool()).empty()) << when;
    Journal journal(house.places.state + "/journal.db", Journal::Access::Visit);
    EXPECT_EQ(journal.in_states({State::Filed}).size(), 1u) << when;
}

struct InterruptedTest : ::testing::TestWithParam<Layout> {
    void interrupt_everywhere(
        Stop stop, const std::function<void(const House&)>& meanwhile = [](const House&) {}) {
        int n = 1;
        for (bool stopped = true; stopped; ++n) {
            House house(GetParam(), whole_job());
            stopped = interrupted([&] { take_document(house); }, stop, n);
            meanwhile(house);
            expect_filed_once(house, "interruption " + std::to_string(n));
            if (HasFatalFailure()) return;
        }
        EXPECT_GT(n, 20);
    }
};

TEST_P(InterruptedTest, DeathLosesNothing) { interrupt_everywhere(Stop::Kill); }
// Its client got no answer, and moved the job.
TEST_P(InterruptedTest, DeathLosesNoMovedJobNorFilesItTwice) {
    interrupt_everywhere(Stop::Kill, [](const House& house) {
        std::error_code gone;
        fs::rename(house.temp + "/~KV1.kv", house.temp + "/~KVkept.kv", gone);
    });
}
TEST_P(InterruptedTest, AFullDiskLosesNothing) { interrupt_everywhere(Stop::DiskFull); }

INSTANTIATE_TEST_SUITE_P(Volumes, InterruptedTest,
                         ::testing::Values(Layout{false, false}, Layout{false, true}, Layout{true, false}));

TEST(FoundAgainTest, WithoutItsJournal) {
    House house({false, true}, whole_job());
    const Folder spool(house.places.spool(), Folder::Owner::Ours);
    const std::string uuid = "01234567-89ab-4cde-8f01-23456789abc";
    write_file(house.places.spool() + "/" + uuid + "0.kv", whole_job());
    fs::create_directory(house.places.outbox);
    write_file(house.places.outbox + "/~" + uuid + "1.part", whole_job());
    write_file(house.places.outbox + "/~" + uuid + "2.part", "KARV");  // not whole: its job is where it was
    write_file(house.places.outbox + "/~other.part", whole_job());     // not ours
    write_file(house.places.state + "/journal.db",
               "no journal at all, but a file of more than a hundred bytes, so that "
               "a database's head could be in it");
    recover(house);
    std::vector<std::string> filed = files_in(house.places.outbox);
    std::ranges::sort(filed);
    EXPECT_EQ(filed, (std::vector<std::string>{"plan (2).kv", "plan (3).kv", "plan.kv", "~" + uuid + "2.part",
                                               "~other.part"}));
    const std::vector<std::string> kept = files_in(house.places.state);
    EXPECT_EQ(std::ranges::count_if(kept, [](auto& name) { return name.starts_with("journal.db.aside-"); }), 1);
}

// What a dispatcher of a further session left when it died, and was killed again while it was taken over.
TEST(FoundAgainTest, OfAnotherSession) {
    int n = 1;
    for (bool stopped = true; stopped; ++n) {
        House house({false, false}, whole_job());
        const Folder state(house.places.state, Folder::Owner::Ours);
        Places other = house.places;
        other.state += "/session-2";
        {
            const Folder own(other.state, Folder::Owner::Ours);
            write_file(other.outbox = other.state + "/none", "");  // nothing can be filed
            Dispatcher dispatcher(other);
            const int64_t id = dispatcher.intake.announce({}, {1, Peer::User});
            ASSERT_TRUE(dispatcher.intake.hand_over(id, house.job_path(), {1, Peer::User}));
            Document document;
            document.state = State::Delivering;
            document.target = "x.kv";
            dispatcher.journal.add(document);
        }
        stopped = interrupted([&] { recover(house); }, Stop::Kill, n);
        recover(house);
        const std::vector<std::string> filed = files_in(house.places.outbox);
        ASSERT_EQ(filed.size(), 1u) << n;
        EXPECT_EQ(read_file(house.places.outbox + "/" + filed[0]), whole_job()) << n;
        Journal journal(house.places.state + "/journal.db", Journal::Access::Visit);
        EXPECT_EQ(journal.in_states({State::Filed}).size(), 1u) << n;
        ASSERT_EQ(journal.in_states({State::Delivering}).size(), 1u) << n;
        EXPECT_EQ(journal.in_states({State::Delivering})[0].attempts, 1) << n;
    }
    EXPECT_GT(n, 20);
}

// Recordings that were cut off: old by their time, also where the clock has been set back since.
TEST(FoundAgainTest, CutOffRecordingsAreSetAside) {
    House house({false, false}, whole_job());
    const std::string cut = "KARV" + whole_job().substr(4, 20);
    const auto now = fs::file_time_type::clock::now();
    const std::pair<std::string, std::chrono::hours> cases[] = {
        {"~KVold.kv", std::chrono::hours(-2)}, {"~KVlater.kv", std::chrono::hours(2)}, {"~KVnew.kv", {}}};
    for (const auto& [name, age] : cases) {
        write_file(house.temp + "/" + name, cut);
        fs::last_write_time(house.temp + "/" + name, now + age);
    }
    recover(house);
    EXPECT_EQ(files_in(house.temp), std::vector<std::string>{"~KVnew.kv"});
    EXPECT_EQ(files_in(house.places.outbox), std::vector<std::string>{"plan.kv"});
    Journal journal(house.places.state + "/journal.db", Journal::Access::Visit);
    EXPECT_EQ(journal.in_states({State::Damaged}).size(), 2u);
    EXPECT_GE(files_in(house.places.damaged()).size(), 2u);
}

}  // namespace
}  // namespace kv::test
