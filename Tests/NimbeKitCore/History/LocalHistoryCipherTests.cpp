#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "NimbeKitCore/History/LocalHistoryCipher.h"

namespace nimbe {
namespace {

Bytes hex(std::string_view text) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        bytes.push_back(
            static_cast<std::uint8_t>(std::stoi(std::string(text.substr(i, 2)), nullptr, 16)));
    return bytes;
}

const SymmetricKey key(Bytes(32, 7));

} // namespace

// McGrew and Viega, "The Galois/Counter Mode of Operation (GCM)", appendix B, test
// cases 13 to 15: 256-bit keys, 96-bit nonces, no associated data.
TEST(LocalHistoryCipher, opensThePublishedVectors) {
    struct Case {
        const char* key;
        const char* blob; // nonce, ciphertext, tag
        const char* plaintext;
    };
    const std::string zeros(64, '0');
    const Case cases[] = {
        {zeros.c_str(), "000000000000000000000000530f8afbc74536b9a963b4f1c4cb738b", ""},
        {zeros.c_str(),
            "000000000000000000000000cea7403d4d606b6e074ec5d3baf39d18"
            "d0d1c8a799996bf0265b98b5d48ab919",
            "00000000000000000000000000000000"},
        {"feffe9928665731c6d6a8f9467308308feffe9928665731c6d6a8f9467308308",
            "cafebabefacedbaddecaf888"
            "522dc1f099567d07f47f37a32a84427d643a8cdcbfe5c0c97598a2bd2555d1aa"
            "8cb08e48590dbb3da7b08b1056828838c5f61e6393ba7a0abcc9f662898015ad"
            "b094dac5d93471bdec1a502270e3cc6c",
            "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a72"
            "1c3c0c95956809532fcf0e2449a6b525b16aedf5aa0de657ba637b391aafd255"},
    };
    for (const auto& c : cases) {
        const auto opened = LocalHistoryCipher::decrypt(hex(c.blob), SymmetricKey(hex(c.key)));
        EXPECT_EQ(opened, hex(c.plaintext)) << c.blob;
    }
}

TEST(LocalHistoryCipher, sealsAnyLengthAnewEachTime) {
    for (const std::size_t size : {0U, 1U, 15U, 16U, 17U, 300U, 100'000'000U}) {
        Bytes plain(size);
        for (std::size_t i = 0; i < size; ++i) plain[i] = static_cast<std::uint8_t>(i * 7);
        const auto once = LocalHistoryCipher::encrypt(plain, key);
        const auto twice = LocalHistoryCipher::encrypt(plain, key);
        ASSERT_TRUE(once && twice) << size;
        EXPECT_EQ(once->size(), 12 + size + 16);
        EXPECT_NE(*once, *twice) << size;
        EXPECT_TRUE(LocalHistoryCipher::decrypt(*once, key) == plain) << size;
        EXPECT_TRUE(LocalHistoryCipher::decrypt(*twice, key) == plain) << size;
    }
}

TEST(LocalHistoryCipher, refusesWhatWasAlteredCutOrSealedOtherwise) {
    const auto sealed = LocalHistoryCipher::encrypt(hex("0001feff"), key).value();
    for (std::size_t at = 0; at < sealed.size(); ++at) {
        for (const int bit : {1, 128}) {
            auto altered = sealed;
            altered[at] ^= static_cast<std::uint8_t>(bit);
            EXPECT_FALSE(LocalHistoryCipher::decrypt(altered, key)) << "byte " << at;
        }
    }
    for (std::size_t size = 0; size < sealed.size(); ++size)
        EXPECT_FALSE(LocalHistoryCipher::decrypt({sealed.data(), size}, key)) << "cut at " << size;
    auto longer = sealed;
    longer.push_back(0);
    EXPECT_FALSE(LocalHistoryCipher::decrypt(longer, key));

    const auto empty = LocalHistoryCipher::encrypt({}, key).value();
    ASSERT_EQ(empty.size(), 28U);
    EXPECT_EQ(LocalHistoryCipher::decrypt(empty, key), Bytes());
    EXPECT_FALSE(LocalHistoryCipher::decrypt({empty.data(), 27}, key));
    EXPECT_FALSE(LocalHistoryCipher::decrypt(Bytes(28), key)) << "zeros";

    for (const std::size_t size : {0U, 16U, 31U, 33U}) {
        EXPECT_FALSE(LocalHistoryCipher::encrypt({}, SymmetricKey(Bytes(size, 7)))) << size;
        EXPECT_FALSE(LocalHistoryCipher::decrypt(empty, SymmetricKey(Bytes(size, 7)))) << size;
    }
    EXPECT_FALSE(LocalHistoryCipher::decrypt(empty, SymmetricKey(Bytes(32, 8))));
}

TEST(LocalHistoryCipher, makesAKeyOnlyWhereThereIsNone) {
    FakeLogSink log;
    InMemoryLocalHistoryKeyStore store;
    const auto made = LocalHistoryCipher::key(store, log);
    ASSERT_TRUE(made);
    EXPECT_EQ(made->bytes().size(), 32U);
    EXPECT_NE(made->bytes(), Bytes(32));
    ASSERT_EQ(log.lines.size(), 1U);
    EXPECT_EQ(log.lines[0].text, "local history key: ensured a device-only key");
    EXPECT_EQ(log.lines[0].category, "history-crypto");

    EXPECT_TRUE(LocalHistoryCipher::key(store, log) == *made);
    EXPECT_EQ(log.lines.size(), 1U) << "no word about a key that was there";
    EXPECT_TRUE(store.saveKeyData(Bytes(32, 9)) == made->bytes()) << "the first one stays";
    EXPECT_TRUE(store.loadKeyData().value() == made->bytes());
}

} // namespace nimbe
