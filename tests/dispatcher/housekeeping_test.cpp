// What is kept of delivered jobs and of the journal's rows, and the space that is kept free.

#include "dispatcher/housekeeping.h"

#include "tests/dispatcher/house.h"

namespace kv::test {
namespace {

struct HousekeepingTest : ::testing::Test {
    HousekeepingTest() : house({false, false}, "KARV"), state(house.places.state, Folder::Owner::Ours) {
        fs::create_directory(house.places.outbox);
    }
    // A document that came to this state, with a job of 100 bytes.
    void add(State end) {
        kvdisp12::Document document;
        document.state = end;
        document.name = "d";
        document.bytes = 100;
        document.target = std::to_string(++count) + ".kv";
        write_file(house.places.outbox + "/" + document.target, std::string(100, 'x'));
        dispatcher.journal.add(document);
    }
    std::vector<std::string> left() {
        std::vector<std::string> names = files_in(house.places.outbox);
        std::ranges::sort(names);
        return names;
    }

    House house;
    Folder state;
    Dispatcher dispatcher{house.places};
    int count = 0;
};

TEST_F(HousekeepingTest, RemovesDeliveredJobsAlone) {
    for (const State end : {State::Filed, State::Delivered, State::Failed, State::Delivered, State::Delivered})
        add(end);
    write_file(house.places.outbox + "/2.kv", "another file of that name");
    const std::pair<Keep, std::vector<std::string>> cases[] = {
        {Keep{}, {"1.kv", "2.kv", "3.kv", "4.kv", "5.kv"}},
        {Keep{.milliseconds = 3'600'000}, {"1.kv", "2.kv", "3.kv", "4.kv", "5.kv"}},
        {Keep{.bytes = 200}, {"1.kv", "2.kv", "3.kv", "4.kv", "5.kv"}},
        {Keep{.count = 1}, {"1.kv", "2.kv", "3.kv", "5.kv"}},
        {Keep{.milliseconds = -1}, {"1.kv", "2.kv", "3.kv"}}};
    for (const auto& [keep, expected] : cases) {
        Housekeeping(dispatcher.store, keep).clean();
        EXPECT_EQ(left(), expected);
    }
    EXPECT_EQ(dispatcher.journal.all().size(), 5u);
}

TEST_F(HousekeepingTest, TheJournalHasBounds) {
    for (int i = 0; i < 700; ++i) add(State::Filed);
    add(State::Delivered);
    add(State::Taken);
    add(State::Delivering);
    Housekeeping(dispatcher.store, {}, {.rows = 600}).clean();
    EXPECT_EQ(dispatcher.journal.all().size(), 600u);
    Housekeeping(dispatcher.store, {.count = 5}, {.milliseconds = -1}).clean();
    EXPECT_EQ(dispatcher.journal.all().size(), 3u);  // its job may still have to be removed
    Housekeeping(dispatcher.store, {}, {.milliseconds = -1}).clean();
    EXPECT_EQ(dispatcher.journal.all().size(), 2u);
    EXPECT_EQ(left().size(), 703u);
}

// Of two volumes, the one with less room is the outbox's.
TEST(FreeSpaceTest, IsThatOfTheOutboxToo) {
    House there({false, true}, "KARV");
    Places places = there.places;
    places.state = there.folders[0] + "/state";
    places.outbox = there.folders[1] + "/outbox";
    if (fs::space(there.folders[0]).available < fs::space(there.folders[1]).available) {
        std::swap(places.state, places.outbox);
    }
    const Folder state(places.state, Folder::Owner::Ours), outbox(places.outbox, Folder::Owner::Anyone);
    std::vector<std::string> lines;
    Dispatcher dispatcher(places, &lines);
    dispatcher.limits.free_space = (state.free_space() + outbox.free_space()) / 2;
    EXPECT_EQ(dispatcher.intake.announce({}, {1, Peer::User}), 0);
    EXPECT_NE(lines.back().find(places.outbox), std::string::npos);
    dispatcher.limits.free_space = 1;
    EXPECT_NE(dispatcher.intake.announce({}, {1, Peer::User}), 0);
}

}  // namespace
}  // namespace kv::test
