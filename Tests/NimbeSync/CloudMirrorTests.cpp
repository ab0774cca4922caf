#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "NimbeSync/SyncRecordCodec.h"
#include "SyncDevice.h"

namespace nimbe {
namespace {

using Fault = FakeCloudDatabase::Fault;
using Texts = std::vector<std::string>;

struct CloudMirrorTest : testing::Test {
    FakeCloud cloud;
    SymmetricKey key{Bytes(32, 7)};
    SyncDevice here{cloud, key};
    SyncDevice there{cloud, key};

    /// Until neither has anything to say.
    void syncBoth() {
        for (int i = 0; i < 3; ++i) {
            here.sync();
            there.sync();
        }
    }
    void expectAlike(const Texts& texts) {
        syncBoth();
        EXPECT_EQ(here.texts(), there.texts());
        EXPECT_EQ(here.sorted(), texts);
        EXPECT_TRUE(here.database.journal().pending({}, 9)->empty());
        EXPECT_TRUE(there.database.journal().pending({}, 9)->empty());
    }
};

} // namespace

TEST_F(CloudMirrorTest, whatIsKeptHereIsThereToo) {
    cloud.longestPage = 7;
    for (int i = 0; i < 250; ++i) here.say("note " + std::to_string(i));
    EXPECT_TRUE(here.store.setDictionaryEntry({"nimby", "Nimbe", Date{1}}));
    EXPECT_TRUE(here.store.setPreferences({true, "email"}));
    EXPECT_TRUE(there.store.setModeStyle({"email", "warm"}));
    const UUID gone = there.say("gone");
    syncBoth();
    EXPECT_EQ(here.texts().size(), 251U);
    EXPECT_EQ(here.texts(), there.texts());
    EXPECT_EQ(there.store.dictionary(), here.store.dictionary());
    EXPECT_EQ(there.store.preferences(), (Preferences{true, "email"}));
    EXPECT_EQ(here.store.modeStyles(), (std::vector<ModeStyle>{{"email", "warm"}}));

    EXPECT_TRUE(here.store.deleteTranscript(gone));
    syncBoth();
    EXPECT_EQ(there.texts().size(), 250U);
    const int pushed = here.connection.pushedRecords + there.connection.pushedRecords;
    const auto news = here.mirror->_status.get().news;
    syncBoth();
    EXPECT_EQ(here.connection.pushedRecords + there.connection.pushedRecords, pushed)
        << "nothing is told twice";
    EXPECT_EQ(
        here.mirror->_status.get(), (CloudMirror::Status{CloudMirror::Phase::upToDate, {}, news}));
}

TEST_F(CloudMirrorTest, theCloudIsToldNothing) {
    here.say("a secret word");
    EXPECT_TRUE(here.store.setDictionaryEntry({"a secret term", "x", Date{1}}));
    here.sync();
    ASSERT_EQ(cloud.records.size(), 2U);
    for (const auto& [name, record] : cloud.records) {
        const std::string payload(record.payload.begin(), record.payload.end());
        for (const char* word : {"secret", "notes", "createdAt", "kind"}) {
            EXPECT_EQ(payload.find(word), std::string::npos) << word;
            EXPECT_EQ(record.id.find(word), std::string::npos) << word;
        }
    }
}

TEST_F(CloudMirrorTest, twoSidesOfOneTranscript) {
    struct Case {
        const char* why;
        std::function<void(SyncDevice&, const UUID&)> first; // reaches the cloud first
        std::function<void(SyncDevice&, const UUID&)> second;
        Texts texts;
    };
    const auto edit = [](const char* text) {
        return [text](SyncDevice& device, const UUID& id) {
            EXPECT_TRUE(device.store.update(id, text));
        };
    };
    const auto remove = [](SyncDevice& device, const UUID& id) {
        EXPECT_TRUE(device.store.deleteTranscript(id));
    };
    const auto replace = [=](SyncDevice& device, const UUID& id) {
        remove(device, id);
        EXPECT_TRUE(device.store.restore({id, "restored", Date{1}, "notes"}));
    };
    const auto nothing = [](SyncDevice& /*device*/, const UUID& /*id*/) {
    };
    const Case cases[] = {
        {"edited on both", edit("one"), edit("two"), {"one", "two"}},
        {"edited alike on both", edit("same"), edit("same"), {"same"}},
        {"edited here, deleted there", edit("one"), remove, {"one"}},
        {"deleted here, edited there", remove, edit("two"), {"two"}},
        {"deleted on both", remove, remove, {}},
        {"deleted and restored against an edit", replace, edit("two"), {"restored", "two"}},
        {"edited on one", nothing, edit("two"), {"two"}},
        {"deleted on one", remove, nothing, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        for (const auto& id : here.store.transcripts()) (void)here.store.deleteTranscript(id.id);
        const UUID id = here.say("base");
        expectAlike({"base"});
        c.first(here, id);
        c.second(there, id);
        expectAlike(c.texts);
    }
}

TEST_F(CloudMirrorTest, theSameIdOnBothSides) {
    const UUID id = UUID::random();
    EXPECT_TRUE(here.store.insert("one", {}, Date{1}, "notes", id));
    EXPECT_TRUE(there.store.insert("two", {}, Date{1e9}, "email", id));
    expectAlike({"one", "two"});

    const UUID other = UUID::random();
    EXPECT_TRUE(here.store.insert("same", {}, Date{1}, "notes", other));
    EXPECT_TRUE(there.store.insert("same", "uh same", Date{1}, "notes", other));
    expectAlike({"one", "same", "two"});
    EXPECT_EQ(here.store.transcript(other)->originalText, "uh same");
}

TEST_F(CloudMirrorTest, threeEditsMakeTwoCopiesAndTheSameOnes) {
    SyncDevice third{cloud, key};
    const UUID id = here.say("base");
    syncBoth();
    third.sync();
    EXPECT_TRUE(here.store.update(id, "one"));
    EXPECT_TRUE(there.store.update(id, "two"));
    EXPECT_TRUE(third.store.update(id, "two"));
    here.sync();
    there.sync();
    third.sync();
    expectAlike({"one", "two"});
    third.sync();
    EXPECT_EQ(third.texts(), here.texts());
}

TEST_F(CloudMirrorTest, aCopyThatWasEditedStandsForItsOwnTextAlone) {
    const UUID id = here.say("base");
    syncBoth();
    const auto disagree = [&](const char* first) {
        EXPECT_TRUE(here.store.update(id, first));
        EXPECT_TRUE(there.store.update(id, "again"));
        syncBoth();
    };
    disagree("one");
    expectAlike({"again", "one"});
    for (const auto& transcript : here.store.transcripts())
        if (transcript.text == "again") (void)here.store.update(transcript.id, "edited");
    syncBoth();
    disagree("two");
    expectAlike({"again", "edited", "two"});
}

TEST_F(CloudMirrorTest, clocksDoNotCount) {
    const UUID id = UUID::random();
    EXPECT_TRUE(here.store.insert("base", {}, Date{1e9}, "notes", id)); // a clock years ahead
    syncBoth();
    here.actor.advance(86'400);
    EXPECT_TRUE(there.store.update(id, "later edit"));
    EXPECT_TRUE(there.store.setDictionaryEntry({"a", "old clock", Date{-1e9}}));
    syncBoth();
    EXPECT_TRUE(here.store.setDictionaryEntry({"a", "later", Date{-2e9}}));
    expectAlike({"later edit"});
    EXPECT_EQ(there.store.dictionary().front().replacement, "later");
}

TEST_F(CloudMirrorTest, aLostAnswerChangesNothing) {
    struct Case {
        const char* why;
        Fault fault;
        Seconds noticedAfter;
    };
    for (const auto& c : {Case{"lost", Fault::loseAnswer, 1}, Case{"hanging", Fault::hang, 31},
             Case{"late", Fault::late, 31}}) {
        SCOPED_TRACE(c.why);
        for (const auto& id : here.store.transcripts()) (void)here.store.deleteTranscript(id.id);
        expectAlike({});
        const UUID edited = here.say("edited");
        const UUID deleted = here.say("deleted");
        const UUID withdrawn = here.say("withdrawn");
        here.connection.faults = {Fault::none, c.fault}; // a pull, a push
        here.kill();
        here.switchOn();
        here.actor.advance(c.noticedAfter);
        EXPECT_EQ(here.mirror->_status.get().phase, CloudMirror::Phase::waiting);
        EXPECT_FALSE(here.mirror->_status.get().problem.empty());
        there.sync();
        EXPECT_EQ(there.texts().size(), 3U) << "it has arrived";
        EXPECT_TRUE(here.store.deleteTranscript(withdrawn));
        EXPECT_TRUE(there.store.update(edited, "edited on"));
        EXPECT_TRUE(there.store.deleteTranscript(deleted));
        there.sync();
        expectAlike({"edited on"});
    }
}

TEST_F(CloudMirrorTest, anEditDuringAPushIsTold) {
    const UUID id = here.say("first");
    here.connection.faults = {Fault::none, Fault::slow};
    here.switchOn();
    here.actor.advance(10); // the push is on its way
    EXPECT_TRUE(here.store.update(id, "second"));
    here.mirror->noteChange();
    here.actor.advance(11); // the answer to the first
    EXPECT_EQ(cloud.records.size(), 1U);
    EXPECT_EQ(cloud.records.begin()->second.revision, 2) << "and then the second";
    expectAlike({"second"});

    here.connection.faults = {Fault::none, Fault::late};
    here.say("third");
    here.actor.advance(61);
    here.kill(); // the program ends
    here.switchOn();
    expectAlike({"second", "third"});
}

TEST_F(CloudMirrorTest, anotherThreadUsesTheStoreMeanwhile) {
    std::atomic<bool> isDone = false;
    std::thread writer([&] {
        for (int i = 0; i < 100; ++i) {
            const UUID id = here.say("note " + std::to_string(i));
            if (i % 2 == 0) (void)here.store.update(id, "edited " + std::to_string(i));
            if (i % 10 == 0) (void)here.store.deleteTranscript(id);
            EXPECT_FALSE(here.store.transcripts().empty() && i > 0);
        }
        isDone = true;
    });
    while (!isDone) syncBoth();
    writer.join();
    syncBoth();
    EXPECT_EQ(there.texts().size(), 90U);
    EXPECT_EQ(there.texts(), here.texts());
}

TEST_F(CloudMirrorTest, failuresAreTriedAgainMoreAndMoreRarely) {
    here.say("note");
    here.connection.faults = std::deque<Fault>(20, Fault::refuse);
    here.switchOn();
    here.actor.advance(5 + 10 + 20 + 40 + 1);
    EXPECT_EQ(here.connection.calls, 5);
    here.mirror->noteChange();
    here.actor.advance(78);
    EXPECT_EQ(here.connection.calls, 5) << "a change does not cut the wait short";
    here.actor.advance(7 * 24 * 3600);
    expectAlike({"note"});
}

TEST_F(CloudMirrorTest, aDeviceThatWasAwayForLongLearnsOfDeletions) {
    const UUID id = here.say("old");
    expectAlike({"old"});
    there.kill();
    EXPECT_TRUE(here.store.deleteTranscript(id));
    for (int i = 0; i < 300; ++i) {
        (void)here.store.deleteTranscript(here.say("short-lived"));
        if (i % 50 == 0) here.sync();
    }
    here.actor.advance(365 * 24 * 3600.0);
    there.switchOn();
    expectAlike({});
}

TEST_F(CloudMirrorTest, anotherCloudGetsEverything) {
    here.say("one");
    const UUID gone = here.say("gone");
    CloudRecord poem{"poem", "1", 0, false, {1, 2, 3}};
    (void)cloud.push(poem);
    expectAlike({"gone", "one"});
    EXPECT_TRUE(here.store.deleteTranscript(gone));
    here.sync();

    const auto backup = cloud;
    cloud = FakeCloud();
    cloud.longestPage = 3;
    expectAlike({"one"});
    EXPECT_EQ(cloud.records.at({"poem", "1"}).payload, poem.payload) << "passed on";

    const UUID id = here.say("after the backup");
    EXPECT_TRUE(there.store.update(there.store.transcripts().front().id, "edited since"));
    expectAlike({"after the backup", "edited since"});
    cloud = backup; // restored
    expectAlike({"after the backup", "edited since"});
    EXPECT_TRUE(here.store.transcript(id));

    const auto later = cloud;
    here.say("just told");
    here.kill();
    here.switchOn();
    here.actor.advance(1);
    cloud = later;
    here.kill();
    expectAlike({"after the backup", "edited since", "just told"});
}

TEST_F(CloudMirrorTest, nothingIsPushedOverWhatAnotherCloudHas) {
    const UUID id = here.say("base");
    expectAlike({"base"});
    const auto backup = cloud;
    EXPECT_TRUE(here.store.update(id, "from here"));
    syncBoth();
    EXPECT_TRUE(here.store.update(id, "once more"));
    here.connection.faults = {Fault::slow}; // a pull, on whose answer the push follows
    here.kill();
    here.switchOn();
    here.actor.advance(10);
    cloud = backup;
    SyncDevice third{cloud, key};
    third.sync();
    EXPECT_TRUE(third.store.update(id, "from the third")); // the same revision once more
    third.sync();
    here.actor.advance(11);
    third.sync();
    expectAlike({"from here", "from the third", "once more"});
}

TEST_F(CloudMirrorTest, whatCannotBeReadIsKeptAndNotPushedOver) {
    SyncDevice stranger{cloud, SymmetricKey(Bytes(32, 9))};
    const UUID id = here.say("ours");
    expectAlike({"ours"});
    // Another key's device changes the record: with the cloud's word for it only.
    stranger.say("theirs");
    stranger.sync();
    EXPECT_EQ(stranger.sorted(), Texts{"theirs"}) << "what it cannot open is left out";
    EXPECT_EQ(stranger.database.journal().foreign({}, 9)->size(), 1U);
    auto& record = cloud.records.at({"transcript", id.text()});
    record.payload = Bytes(50, 1);
    record.revision = cloud.nextRevision();
    expectAlike({"ours"});
    EXPECT_EQ(here.database.journal().foreign({}, 9)->size(), 2U);

    EXPECT_TRUE(here.store.update(id, "ours, edited"));
    syncBoth();
    EXPECT_EQ(here.sorted(), Texts{"ours, edited"}) << "as a transcript of its own";
    EXPECT_EQ(cloud.records.at({"transcript", id.text()}).payload, Bytes(50, 1));
    EXPECT_EQ(there.sorted(), (Texts{"ours", "ours, edited"})) << "what it knew stays";
    EXPECT_TRUE(here.database.journal().pending({}, 9)->empty());

    cloud = FakeCloud();
    there.sync();
    expectAlike({"ours", "ours, edited"});
    EXPECT_EQ(cloud.records.at({"transcript", id.text()}).payload, Bytes(50, 1))
        << "what came later goes first";
}

TEST_F(CloudMirrorTest, aKeyThatComesLaterOpensWhatWasKept) {
    here.say("one");
    here.sync();
    InMemoryTranscriptKeyStore keys;
    MemorySyncDatabase database;
    FakeLogSink log;
    TranscriptKey late(keys, TranscriptKey::Use::readAndMake, log);
    SyncStore store(database, late, log);
    FakeCloudDatabase connection(cloud, here.actor);
    CloudMirror mirror({here.actor, database, late, connection, log});
    mirror.start();
    here.actor.advance(61);
    EXPECT_FALSE(keys.load().value()) << "nothing to seal: no key is made";
    EXPECT_TRUE(store.transcripts().empty());
    ASSERT_TRUE(keys.save(key));
    here.actor.advance(61);
    EXPECT_EQ(store.transcripts().size(), 1U);
    EXPECT_TRUE(database.journal().foreign({}, 9)->empty());
    EXPECT_GT(mirror._status.get().news, 0);
}

TEST_F(CloudMirrorTest, whatIsReadOnlyAfterAChangeOfCloudsIsGivenToTheNewOne) {
    here.say("one");
    here.sync();
    SyncDevice late{cloud, SymmetricKey(Bytes(32, 9))};
    late.sync();
    late.kill();
    cloud = FakeCloud();
    late.connection.faults = {Fault::none, Fault::refuse};
    late.switchOn();
    late.actor.advance(1); // it has met the new cloud, and told it nothing
    late.kill();

    InMemoryTranscriptKeyStore keys(key);
    TranscriptKey found(keys, TranscriptKey::Use::readAndMake, late.log);
    CloudMirror mirror({late.actor, late.database, found, late.connection, late.log});
    mirror.start();
    late.actor.advance(61);
    EXPECT_EQ(cloud.records.size(), 1U);
}

TEST_F(CloudMirrorTest, aCloudThatTalksNonsenseIsNotFollowed) {
    struct Nonsense final : CloudDatabase {
        Page page;
        bool answersTooLittle = false;
        Task<Result<Page, CloudError>> pull(Position /*since*/, std::size_t /*limit*/) override {
            co_return page;
        }
        Task<Result<std::vector<Pushed>, CloudError>> push(
            Position /*known*/, std::vector<CloudRecord> /*records*/) override {
            co_return std::vector<Pushed>();
        }
    };
    const CloudRecord first{"poem", "1", 5, false, {}};
    const CloudRecord second{"poem", "2", 5, false, {}};
    for (const auto& page : {CloudDatabase::Page{"x", {first, second}, true},
             CloudDatabase::Page{"x", {}, false}, CloudDatabase::Page{"x", {}, true}}) {
        SyncDevice device{cloud, key};
        device.say("note");
        Nonsense nonsense;
        nonsense.page = page;
        CloudMirror mirror(
            {device.actor, device.database, device.transcriptKey, nonsense, device.log});
        mirror.start();
        device.actor.advance(3);
        EXPECT_EQ(mirror._status.get().phase, CloudMirror::Phase::waiting);
        EXPECT_EQ(device.sorted(), Texts{"note"});
        EXPECT_TRUE(device.database.journal().foreign({}, 9)->empty()) << "whole or not at all";
    }
}

} // namespace nimbe
