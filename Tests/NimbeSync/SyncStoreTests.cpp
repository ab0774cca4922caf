#include <cmath>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "NimbeSync/MemorySyncDatabase.h"
#include "NimbeSync/SyncStore.h"

namespace nimbe {
namespace {

/// A key store that is locked when told so.
struct LockableKeyStore final : TranscriptKeyStore {
    InMemoryTranscriptKeyStore store;
    bool isLocked = false;

    [[nodiscard]] Result<std::optional<SymmetricKey>, KeyStoreError> load() override {
        if (isLocked) return failure(KeyStoreError{KeyStoreError::Kind::locked, "locked"});
        return store.load();
    }
    [[nodiscard]] Result<SymmetricKey, KeyStoreError> save(const SymmetricKey& key) override {
        if (isLocked) return failure(KeyStoreError{KeyStoreError::Kind::locked, "locked"});
        return store.save(key);
    }
};

struct SyncStoreTest : testing::Test {
    FakeLogSink log;
    MemorySyncDatabase database;
    LockableKeyStore keys;
    TranscriptKey key{keys, TranscriptKey::Use::readAndMake, log};
    SyncStore store{database, key, log};
    const UUID id = UUID::random();

    [[nodiscard]] std::vector<std::string> texts() {
        std::vector<std::string> texts;
        for (const auto& transcript : store.transcripts()) texts.push_back(transcript.text);
        return texts;
    }
    [[nodiscard]] SyncRecord stored() {
        return database.read(SyncKind::transcript, id.text()).value().value();
    }
};

} // namespace

TEST_F(SyncStoreTest, keepsTranscriptsSealed) {
    int changes = 0;
    store.onChange = [&] {
        ++changes;
    };
    EXPECT_TRUE(store.insert("Zoë 😀", "zoe uh", Date{10.25}, "haiku", id));
    EXPECT_TRUE(store.insert("later", {}, Date{20}, "email", UUID::random()));
    EXPECT_TRUE(store.insert("bad \xFF byte", {}, Date{std::nan("")}, "notes", UUID::random()));

    const DecryptedTranscript expected{id, "Zoë 😀", Date{10.25}, "haiku", "zoe uh"};
    EXPECT_EQ(store.transcript(id), expected);
    EXPECT_EQ(texts(), (std::vector<std::string>{"later", "Zoë 😀", "bad \uFFFD byte"}));
    EXPECT_EQ(store.transcripts().back().createdAt, Date{0});
    const auto item = std::get<TranscriptItem>(*stored().model);
    EXPECT_EQ(item.ciphertext.size(), 9U + 28);
    EXPECT_EQ(item.originalCiphertext->size(), 6U + 28);

    EXPECT_TRUE(store.update(id, "edited"));
    EXPECT_EQ(store.transcript(id)->text, "edited");
    EXPECT_EQ(store.transcript(id)->originalText, "zoe uh");
    EXPECT_EQ(changes, 4);
    const auto before = stored();
    EXPECT_TRUE(store.update(id, "edited"));
    EXPECT_TRUE(store.update(id, " \n\u2028"));
    EXPECT_TRUE(store.update(UUID::random(), "nobody's"));
    EXPECT_EQ(stored(), before) << "nothing that changes nothing is a change";
    EXPECT_EQ(changes, 4);
}

TEST_F(SyncStoreTest, whatNoCloudCanHaveLeavesNoTrace) {
    EXPECT_TRUE(store.insert("one", {}, Date{1}, "notes", id));
    EXPECT_TRUE(store.deleteTranscript(id));
    EXPECT_FALSE(database.read(SyncKind::transcript, id.text()).value());
    EXPECT_TRUE(store.deleteTranscript(id)) << "what is not there is deleted";

    EXPECT_TRUE(store.restore({id, "one", Date{1}, "notes"}));
    auto offered = stored();
    offered.mirror.revision = 0; // a push may have arrived
    EXPECT_TRUE(database.write(offered));
    EXPECT_TRUE(store.deleteTranscript(id));
    EXPECT_FALSE(stored().model);
    EXPECT_TRUE(stored().mirror.isDirty);
    EXPECT_FALSE(store.transcript(id));
    EXPECT_FALSE(store.hasTranscripts());

    EXPECT_TRUE(store.restore({id, "one", Date{1}, "notes", "un"}));
    EXPECT_EQ(store.transcript(id)->originalText, "un");
    EXPECT_EQ(stored().mirror.changes.size(), 3U) << "it follows on the deletion";
}

TEST_F(SyncStoreTest, aLockedKeyIsAProblemAndNoNewKey) {
    keys.isLocked = true;
    EXPECT_FALSE(store.insert("one", {}, Date{1}, "notes", id));
    EXPECT_TRUE(log.has(LogLevel::error, "transcript encrypt/record failed: "));
    EXPECT_TRUE(store.problem());
    EXPECT_FALSE(store.restore({id, "one", Date{1}, "notes"}));
    EXPECT_TRUE(log.has(LogLevel::error, "transcript restore failed: "));
    EXPECT_FALSE(store.update(id, "two"));
    EXPECT_TRUE(log.has(LogLevel::error, "transcript update failed: "));
    EXPECT_TRUE(store.transcripts().empty());
    EXPECT_TRUE(store.problem());

    keys.isLocked = false;
    EXPECT_TRUE(store.insert("one", {}, Date{1}, "notes", id));
    EXPECT_FALSE(store.problem());
}

TEST_F(SyncStoreTest, whatAnotherKeySealedStaysAsItIs) {
    InMemoryTranscriptKeyStore otherKeys;
    TranscriptKey otherKey(otherKeys, TranscriptKey::Use::readAndMake, log);
    SyncStore other(database, otherKey, log);
    EXPECT_TRUE(other.insert("theirs", {}, Date{1}, "notes", id));
    EXPECT_TRUE(store.insert("ours", {}, Date{2}, "notes", UUID::random()));

    const auto before = stored();
    EXPECT_EQ(texts(), std::vector<std::string>{"ours"});
    EXPECT_FALSE(store.transcript(id));
    EXPECT_FALSE(store.update(id, "overwritten"));
    EXPECT_EQ(stored(), before);
    EXPECT_TRUE(log.has(LogLevel::warning, "the key does not open them: 1"));
    EXPECT_EQ(other.transcript(id)->text, "theirs");
}

TEST_F(SyncStoreTest, keepsDictionaryPreferencesAndStyles) {
    EXPECT_EQ(store.preferences(), Preferences());
    EXPECT_TRUE(store.setPreferences({true, "email"}));
    EXPECT_TRUE(store.setPreferences({true, "coding"}));
    EXPECT_EQ(store.preferences(), (Preferences{true, "coding"}));

    EXPECT_TRUE(store.setDictionaryEntry({"nimby", "Nimbe", Date{1}}));
    EXPECT_TRUE(store.setDictionaryEntry({"Ärger", "Ä.", Date{2}}));
    EXPECT_TRUE(store.setDictionaryEntry({"nimby", "nimbe", Date{3}}));
    EXPECT_EQ(store.dictionary(),
        (std::vector<DictionaryEntry>{{"nimby", "nimbe", Date{3}}, {"Ärger", "Ä.", Date{2}}}));
    EXPECT_TRUE(store.removeDictionaryEntry("nimby"));
    EXPECT_EQ(store.dictionary().size(), 1U);

    EXPECT_TRUE(store.setModeStyle({"email", "warm"}));
    EXPECT_EQ(store.modeStyles(), (std::vector<ModeStyle>{{"email", "warm"}}));
    EXPECT_TRUE(store.removeModeStyle("email"));
    EXPECT_TRUE(store.modeStyles().empty());
}

TEST_F(SyncStoreTest, pagesMissNothingAtOneInstant) {
    for (int i = 0; i < 1001; ++i)
        ASSERT_TRUE(store.insert("x", {}, Date{i < 1000 ? 7.0 : 8.0}, "notes", UUID::random()));
    EXPECT_EQ(store.transcripts().size(), 1001U);
    int visited = 0;
    store.forEachTranscript(
        [&](const DecryptedTranscript& /*transcript*/) { return ++visited < 5; });
    EXPECT_EQ(visited, 5);
}

} // namespace nimbe
