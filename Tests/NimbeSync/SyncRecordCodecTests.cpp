#include <limits>

#include <gtest/gtest.h>

#include "NimbeSync/SyncRecordCodec.h"
#include "NimbeSync/TranscriptCipher.h"

namespace nimbe {
namespace {

const SymmetricKey key(Bytes(32, 7));
const UUID id = UUID::parse("4F1C09AB-0000-4000-8000-000000000001").value();

SyncRecord transcript() {
    TranscriptItem item{
        id, Date{0.1}, "haiku", TranscriptCipher::seal("Zoë 😀\n\"x\"", key).value()};
    item.originalCiphertext = TranscriptCipher::seal("", key).value();
    return {SyncKind::transcript, id.text(), item, {7, true, {1, 0xFFFFFFFFFFFFFFFF}},
        R"({"pinned":[1.50,null]})"};
}

CloudRecord sealed(const char* json, const char* cloudId = nullptr) {
    return {"transcript", cloudId ? cloudId : id.text(), 3, false,
        TranscriptCipher::seal(json, key).value()};
}

} // namespace

TEST(SyncRecordCodec, everyRecordComesBackAsItWas) {
    auto deleted = transcript();
    deleted.model.reset();
    const SyncRecord records[] = {transcript(), deleted,
        {SyncKind::dictionaryEntry, "café", DictionaryEntry{"café", "Café", Date{-3.25}},
            {1, true, {5}}},
        {SyncKind::preferences, "preferences", Preferences{true, "email"}, {1, true, {5}}},
        {SyncKind::modeStyle, "email", ModeStyle{"email", "warm"}, {1, true, {5}}}};
    for (const auto& record : records) {
        const auto sent = SyncRecordCodec::encode(record, key);
        ASSERT_TRUE(sent);
        EXPECT_EQ(sent->revision, record.mirror.revision);
        EXPECT_EQ(sent->isDeleted, !record.model);
        auto back = SyncRecordCodec::decode(*sent, key);
        ASSERT_TRUE(back) << record.id;
        EXPECT_EQ(back->id, record.id);
        EXPECT_EQ(back->more, record.more);
        EXPECT_EQ(
            back->mirror, (MirrorState{record.mirror.revision, false, record.mirror.changes}));
        if (record.kind != SyncKind::transcript) {
            EXPECT_EQ(back->model, record.model);
            EXPECT_NE(sent->id, record.id) << "the id tells nothing";
        } else if (record.model) {
            EXPECT_EQ(SyncRecordCodec::opened(std::get<TranscriptItem>(*back->model), key),
                SyncRecordCodec::opened(std::get<TranscriptItem>(*record.model), key));
        }
        EXPECT_FALSE(SyncRecordCodec::decode(*sent, SymmetricKey(Bytes(32, 8))));
    }
}

TEST(SyncRecordCodec, whatAStoreShouldNotHoldIsReadElsewhere) {
    constexpr double infinite = std::numeric_limits<double>::infinity();
    auto odd = transcript();
    auto& item = std::get<TranscriptItem>(*odd.model);
    item.createdAt = Date{infinite};
    item.mode = "\xC3";
    auto back = SyncRecordCodec::decode(SyncRecordCodec::encode(odd, key).value(), key);
    ASSERT_TRUE(back);
    const auto opened = SyncRecordCodec::opened(std::get<TranscriptItem>(*back->model), key);
    EXPECT_EQ(opened->text, "Zoë 😀\n\"x\"");
    EXPECT_EQ(opened->createdAt, Date{0});
    EXPECT_EQ(opened->mode, "\uFFFD");
    const SyncRecord entry{SyncKind::dictionaryEntry, "a",
        DictionaryEntry{"a", "\xFF", Date{-infinite}}, {1, true, {5}}};
    back = SyncRecordCodec::decode(SyncRecordCodec::encode(entry, key).value(), key);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->model, SyncModel(DictionaryEntry{"a", "\uFFFD", Date{0}}));
}

TEST(SyncRecordCodec, whatIsNotWhatItSaysIsNotOpened) {
    struct Case {
        const char* why;
        CloudRecord record;
        bool isOpened;
    };
    constexpr const char* sound =
        R"({"v":1,"kind":"transcript","id":"4F1C09AB-0000-4000-8000-000000000001",)"
        R"("changes":"0000000000000001","createdAt":1,"text":"x"})";
    auto otherKind = sealed(sound);
    otherKind.kind = "modeStyle";
    auto newerKind = sealed(sound);
    newerKind.kind = "poem";
    auto altered = sealed(sound);
    altered.payload.back() ^= 1;
    auto declaredDeleted = sealed(sound);
    declaredDeleted.isDeleted = true;
    const std::string text = sound;
    const auto with = [&](const char* part, const char* other) {
        auto changed = text;
        changed.replace(changed.find(part), std::string(part).size(), other);
        return sealed(changed.c_str());
    };
    const Case cases[] = {
        {"sound, without a mode", sealed(sound), true},
        {"a deletion that only the cloud tells of", declaredDeleted, true},
        {"another's place", sealed(sound, "4F1C09AB-0000-4000-8000-000000000002"), false},
        {"another kind", otherKind, false},
        {"a newer kind", newerKind, false},
        {"a newer version", with("\"v\":1", "\"v\":2"), false},
        {"no version", with("\"v\":1", "\"w\":1"), false},
        {"no changes", with("0000000000000001", ""), false},
        {"changes cut short", with("0000000000000001", "00000001"), false},
        {"changes that are none", with("0000000000000001", "000000000000000g"), false},
        {"a date beyond all numbers", with(":1,\"text\"", ":1e999,\"text\""), false},
        {"a text that is none", with("\"x\"", "7"), false},
        {"an id in lower case", with("4F1C09AB", "4f1c09ab"), false},
        {"a bit altered", altered, false},
        {"no payload", {"transcript", id.text(), 3, true, {}}, false},
        {"no object", sealed("[]"), false},
        {"nothing", sealed(""), false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(SyncRecordCodec::decode(c.record, key).has_value(), c.isOpened) << c.why;
    EXPECT_TRUE(SyncRecordCodec::decode(declaredDeleted, key)->model) << "the sealed word counts";
}

TEST(SyncRecordCodec, idsOfCopiesAreTheSameEverywhereAndKeyed) {
    const auto copy = SyncRecordCodec::copyId(id, "text", key);
    EXPECT_EQ(SyncRecordCodec::copyId(id, "text", key), copy);
    EXPECT_NE(SyncRecordCodec::copyId(id, "texts", key), copy);
    EXPECT_NE(SyncRecordCodec::copyId(UUID::random(), "text", key), copy);
    EXPECT_NE(SyncRecordCodec::copyId(id, "text", SymmetricKey(Bytes(32, 8))), copy);
    EXPECT_NE(SyncRecordCodec::cloudId(SyncKind::dictionaryEntry, "a", key),
        SyncRecordCodec::cloudId(SyncKind::modeStyle, "a", key));
}

} // namespace nimbe
