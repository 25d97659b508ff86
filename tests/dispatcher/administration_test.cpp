// What an administrator asks, while a dispatcher runs and while none does.

#include <nlohmann/json.hpp>

#include "dispatcher/database.h"
#include "tests/dispatcher/dispatcher_process.h"

namespace kv::test {
namespace {

using kvdisp12::Database, kvdisp12::Journal, kvdisp12::State;

struct AdministrationTest : ProtocolTest {
    // What a command writes, and its exit code.
    std::string told(const std::vector<std::string>& arguments, int expected = 0) {
        fs::remove(shared + "/output");
        setenv("KARVO_DRIVE", host::host_path(u"C:\\").c_str(), 1);
        EXPECT_EQ(run("kvdisp12", arguments), expected) << arguments[0];
        unsetenv("KARVO_DRIVE");
        return file("output");
    }
    nlohmann::json asked(std::vector<std::string> arguments, int expected = 0) {
        arguments.push_back("--json");
        return nlohmann::json::parse(told(arguments, expected));
    }
    static void print(const std::u16string& name) {
        Client client;
        ASSERT_NE(client.start(name), kRefused);
        ASSERT_NE(client.end(make_job("x")), kRefused);
    }
    // Nothing can be filed: the outbox is a file.
    void block_outbox() const {
        fs::remove_all(shared + "/data/karvo/outbox");
        write_file(shared + "/data/karvo/outbox", "");
    }
    void free_outbox() const { fs::remove(shared + "/data/karvo/outbox"); }
};

TEST_F(AdministrationTest, ListsAndShows) {
    const pid_t process = start_dispatcher();
    print(u"plan");
    print(u"Gr\u00FC\u00DFe\n\"");
    { Client().start(u"lost"); }
    wait_until([&] { return logged("its client is gone") == 1; });
    nlohmann::json all = asked({"--list"});
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0]["name"].get<std::string>() + " " + all[0]["state"].get<std::string>(), "lost failed");
    EXPECT_EQ(all[1]["name"], "Gr\u00FC\u00DFe\n\"");
    EXPECT_EQ(all[2]["target"], "plan.kv");
    EXPECT_TRUE(all[2]["pages"].is_null() && all[2]["bytes"] == 5 && all[2]["id"] == 1);
    EXPECT_NE(told({"--list"}).find("\"P\", \"Gr\u00FC\u00DFe\\u000A\\\"\"\n"), std::string::npos);
    const std::pair<std::vector<std::string>, size_t> filters[] = {{{"--only", "filed"}, 2},
                                                                   {{"--only", "refused"}, 0},
                                                                   {{"--text", "PLA"}, 1},
                                                                   {{"--printer", "q"}, 0},
                                                                   {{"--since", "1h", "--printer", "p"}, 3}};
    for (auto [words, count] : filters) {
        words.insert(words.begin(), "--list");
        EXPECT_EQ(asked(words).size(), count) << words[1] << words[2];
    }
    EXPECT_EQ(asked({"--show", "2"}), all[1]);
    EXPECT_NE(told({"--show", "3"}).find("error: \"its client is gone\"\n"), std::string::npos);
    EXPECT_EQ(told({"--show", "4"}, 1), "kvdisp12: no document 4\n");
    const nlohmann::json status = asked({"--status"});
    EXPECT_EQ(status["running"]["process"], process);
    EXPECT_EQ(status["running"]["clients"], 1);
    EXPECT_EQ(status["folders"][0]["documents"], (nlohmann::json{{"failed", 1}, {"filed", 2}}));
    EXPECT_EQ(asked({"--status", "--all", "--state", shared + "/%u/karvo"})["folders"].size(), 1u);
    EXPECT_EQ(asked({"--status", "--min-free", "1000000G"}, 3)["folders"][0]["needsAttention"], true);
}

// What an administrator sees of another user's state is what that user likes.
TEST_F(AdministrationTest, AHostileJournalOnlyTells) {
    const std::string file = shared + "/data/karvo/journal.db";
    fs::create_directories(shared + "/data/karvo");
    {
        Journal journal(file, Journal::Access::Own, {});
        kvdisp12::Document document;
        document.state = State::Failed;
        document.error = "a\x1B[2J\nb";
        journal.add(document);
    }
    const Bytes bytes = read_bytes(file);
    EXPECT_NE(told({"--status"}).find("error of document 1: a [2J b\n"), std::string::npos);
    EXPECT_EQ(read_bytes(file), bytes);
    {
        Database database(file, SQLITE_OPEN_READWRITE);
        database.run(
            "ALTER TABLE documents RENAME TO other; CREATE VIEW documents AS WITH RECURSIVE n(i) AS"
            " (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT i AS id, 'filed' AS state FROM n");
    }
    EXPECT_NE(told({"--status"}, 3).find("no journal"), std::string::npos);
    EXPECT_EQ(run("kvdisp12", {"--list"}), 1);
}

// The file where the outbox should be stands for a disk that is full or a server that is down.
TEST_F(AdministrationTest, WhatWaitsIsTriedAgainOrCancelled) {
    const pid_t process = start_dispatcher();
    block_outbox();
    print(u"first");
    print(u"second");
    EXPECT_EQ(asked({"--status"})["folders"][0]["waiting"], 2);
    told({"--cancel", "2"});
    wait_until([&] { return logged("Cancelled 2 ") == 1; });
    EXPECT_NE(told({"--cancel", "2"}, 1).find("can no longer be cancelled"), std::string::npos);
    kill(process, SIGTERM);
    EXPECT_EQ(end_of(process), 0);
    EXPECT_EQ(logged("End: told to"), 1u);
    EXPECT_TRUE(asked({"--status"})["running"].is_null());
    free_outbox();
    told({"--retry", "1"});  // none runs: by itself
    EXPECT_EQ(outbox(), std::vector<std::string>{"first.kv"});
    EXPECT_NE(told({"--retry", "1"}, 1).find("nothing to try again"), std::string::npos);
    start_dispatcher();
    block_outbox();
    print(u"third");
    free_outbox();
    told({"--recover"});  // the one that runs
    wait_until([&] { return outbox() == std::vector<std::string>{"third.kv"}; });
}

TEST_F(AdministrationTest, DeliveriesAreTriedAgainOrCancelled) {
    const std::string script = write_file(shared + "/deliver", "exit $(cat " + shared + "/code)");
    const auto is = [&](const std::string& id, const std::string& state) {
        return [=, this] { return asked({"--show", id})["state"] == state; };
    };
    configure("deliver = \"command:/bin/sh " + script + "\"\n");
    write_file(shared + "/code", "75");
    const pid_t process = start_dispatcher();
    print(u"first");
    print(u"second");
    wait_until([&] { return asked({"--show", "2"})["attempts"] == 1; });
    EXPECT_EQ(asked({"--status"})["folders"][0]["waiting"], 2);
    told({"--cancel", "2"});
    write_file(shared + "/code", "1");
    told({"--retry", "1"});
    wait_until(is("1", "failed"));
    write_file(shared + "/code", "0");
    told({"--retry", "1"});
    wait_until(is("1", "delivered"));
    EXPECT_EQ(asked({"--show", "2"})["state"], "filed");
    kill(process, SIGTERM);
    EXPECT_EQ(end_of(process), 0);
    told({"--retry", "2"});  // none runs: by itself
    EXPECT_TRUE(is("2", "delivered")());
    EXPECT_EQ(outbox(), (std::vector<std::string>{"first.kv", "second.kv"}));
    EXPECT_EQ(run("kvdisp12", {"--deliver", "mail:x"}), 2);
}

TEST_F(AdministrationTest, OneDispatcherASession) {
    start_dispatcher();
    EXPECT_EQ(told({"--idle", "1"}, 1), "kvdisp12: another dispatcher serves the session\n");
    EXPECT_EQ(logged("another dispatcher serves the session"), 1u);
}

TEST_F(AdministrationTest, TooFewFilesAreToldOf) {
    const std::string command = "ulimit -n 12; exec timeout 20 " + kPrograms + "kvdisp12 2>" + shared + "/few";
    EXPECT_EQ(WEXITSTATUS(std::system(command.c_str())), 1);
    EXPECT_EQ(file("few"), "kvdisp12: no more than 12 files may be open, 24 are needed\n");
}

}  // namespace
}  // namespace kv::test
