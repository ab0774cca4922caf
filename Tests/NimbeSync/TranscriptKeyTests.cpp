#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/FakeSecretStore.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeSync/KeychainKeyStore.h"
#include "NimbeSync/TranscriptCipher.h"
#include "NimbeSync/TranscriptKey.h"

namespace nimbe {
namespace {

const std::string name = "com.nimbehq.transcript.key default";

struct TranscriptKeyTest : testing::Test {
    FakeSecretStore keychain;
    FakeSecretStore file;
    MemoryUserDefaults defaults;
    FakeLogSink log;
    bool hasTranscripts = false;
    KeychainKeyStore store{{keychain, file}, defaults, log, [this] {
                               return hasTranscripts;
                           }};
    TranscriptKey writer{store, TranscriptKey::Use::readAndMake, log};
    TranscriptKey reader{store, TranscriptKey::Use::read, log};
};

} // namespace

TEST_F(TranscriptKeyTest, isMadeOnceAndThenLoaded) {
    EXPECT_FALSE(reader.existing().value());
    EXPECT_FALSE(reader.ensured()) << "a reader makes none";
    EXPECT_TRUE(keychain.secrets.empty() && file.secrets.empty());

    const auto made = writer.ensured();
    ASSERT_TRUE(made);
    EXPECT_EQ(keychain.secrets.at(name), made->bytes());
    EXPECT_EQ(defaults.get(KeychainKeyStore::place), "keychain");
    EXPECT_EQ(defaults.get(LocalKeychainKeyStore::place), "") << "that is of another key";
    EXPECT_TRUE(log.has(LogLevel::info,
        "transcript key: generated a NEW key (no existing key found). If another device already "
        "has history, confirm iCloud Keychain is on and synced before relying on cross-device "
        "decryption."));
    for (const auto& line : log.lines) EXPECT_EQ(line.category, "crypto") << line.text;

    log.lines.clear();
    EXPECT_EQ(reader.existing().value(), *made);
    EXPECT_TRUE(log.has(LogLevel::info, "transcript key: loaded existing key"));
    const int reads = keychain.reads;
    keychain.error = KeyStoreError::Kind::locked;
    EXPECT_EQ(reader.existing().value(), *made) << "kept in memory";
    EXPECT_EQ(keychain.reads, reads);
}

TEST_F(TranscriptKeyTest, noErrorLooksLikeAMissingKey) {
    struct Case {
        const char* why;
        KeyStoreError::Kind error;
        bool hasTranscripts;
        bool isKeyMade;
    };
    using enum KeyStoreError::Kind;
    const Case cases[] = {
        {"a locked keyring", locked, false, false},
        {"no keyring, and nothing sealed: a file", unreachable, false, true},
        {"no keyring, but transcripts that it must have the key of", unreachable, true, false},
    };
    for (const auto& c : cases) {
        keychain.error = c.error;
        hasTranscripts = c.hasTranscripts;
        file = {};
        EXPECT_TRUE(defaults.remove(KeychainKeyStore::place));
        TranscriptKey key(store, TranscriptKey::Use::readAndMake, log);
        EXPECT_EQ(key.ensured().has_value(), c.isKeyMade) << c.why;
        EXPECT_EQ(file.secrets.size(), c.isKeyMade ? 1U : 0U) << c.why;
    }
}

TEST_F(TranscriptKeyTest, ofTwoWritersTheFirstWins) {
    const Bytes others(32, 7);
    keychain.onAdd = [&] {
        keychain.secrets[name] = others;
    };
    EXPECT_EQ(writer.ensured()->bytes(), others);
    EXPECT_TRUE(log.has(LogLevel::info, "transcript key: loaded existing key"));
    EXPECT_FALSE(log.has(LogLevel::info, "NEW"));
}

TEST(TranscriptCipher, opensWhatItSealedAndNothingElse) {
    const auto key = SymmetricKey::random();
    for (const std::string text : {"", "plain", "Zoë 😀\0 café"}) {
        const auto sealed = TranscriptCipher::seal(text, key);
        ASSERT_TRUE(sealed);
        EXPECT_EQ(sealed->size(), text.size() + 28);
        EXPECT_EQ(TranscriptCipher::open(*sealed, key), text);
        EXPECT_NE(*TranscriptCipher::seal(text, key), *sealed) << "a fresh nonce";
        EXPECT_FALSE(TranscriptCipher::open(*sealed, SymmetricKey::random()));
    }
    const auto illFormed = TranscriptCipher::seal("caf\xC3", key);
    ASSERT_TRUE(illFormed);
    EXPECT_FALSE(TranscriptCipher::open(*illFormed, key));
    EXPECT_FALSE(TranscriptCipher::seal("text", SymmetricKey(Bytes(16, 1))));
}

} // namespace nimbe
