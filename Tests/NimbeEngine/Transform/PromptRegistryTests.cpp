#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Fakes/MemoryUserDefaults.h"
#include "NimbeEngine/Transform/PromptRegistry.h"

namespace nimbe {
namespace {

constexpr auto cacheKey = "promptRegistryCache";

struct PromptRegistryTest : testing::Test {
    MemoryUserDefaults defaults;
    FakeLogSink log;

    [[nodiscard]] PromptRegistry registry() { return {defaults, log}; }
    void keep(UserDefaults::Value value) {
        EXPECT_TRUE(defaults.setValue(cacheKey, std::move(value)));
    }
    [[nodiscard]] std::string kept() {
        const auto value = defaults.value(cacheKey);
        return value && *value ? std::get<std::string>(**value) : "nothing";
    }
};

std::string body(std::string_view version, std::string_view prompts) {
    return "{\"version\":" + std::string(version) + ",\"prompts\":{" + std::string(prompts) + "}}";
}

/// A table with one long prompt.
std::string bodyOfSize(std::size_t bytes) {
    const auto frame = body("9", R"("fix":"")");
    return body("9", "\"fix\":\"" + std::string(bytes - frame.size(), 'x') + "\"");
}

std::string fixOf(const PromptRegistry& registry) {
    return registry.instructions(FixTransform());
}

} // namespace

TEST_F(PromptRegistryTest, aTableIsTakenWholeOrNotAtAll) {
    struct Case {
        const char* why;
        std::string body;
        bool isTaken = false;
    };
    const Case cases[] = {
        {"nothing", ""},
        {"not JSON", R"({"version":9,"prompts":{"fix":"other"})"},
        {"two documents", body("9", R"("fix":"other")") + "{}"},
        {"an array", "[" + body("9", R"("fix":"other")") + "]"},
        {"no version", R"({"prompts":{"fix":"other"}})"},
        {"a version with a fraction", body("1.0", R"("fix":"other")")},
        {"with an exponent", body("1e1", R"("fix":"other")")},
        {"a text for a version", body("\"9\"", R"("fix":"other")")},
        {"null for a version", body("null", R"("fix":"other")")},
        {"past every integer", body("9223372036854775808", R"("fix":"other")")},
        {"no prompts", R"({"version":9})"},
        {"an array of prompts", R"({"version":9,"prompts":["fix","other"]})"},
        {"a number among them", body("9", R"("fix":"other","email":1)")},
        {"null among them", body("9", R"("fix":"other","email":null)")},
        {"an empty one", body("9", R"("fix":"other","bullets":"")")},
        {"a blank one", body("9", R"("fix":"other","bullets":"\u2003\n")")},
        {"of a key nobody knows", body("9", R"("fix":"other","new":7)")},
        {"no place for the instruction", body("9", R"("fix":"other","wand":"Do {it}.")")},
        {"not UTF-8", body("9", "\"fix\":\"other \xC3(\"")},
        {"one byte too long", bodyOfSize(262'145)},
        {"the longest", bodyOfSize(262'144), true},
        {"keys nobody knows", body("-9", R"("new":"x","fix":"other")"), true},
        {"no keys", body("9", ""), true},
        {"a wand with its place", body("9", R"("wand":"\"{instruction}\"")"), true},
        {"more members", R"({"a":[],"prompts":{"fix":"Fixe \u00e4."},"version":9})", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.why);
        MemoryUserDefaults own;
        PromptRegistry registry(own, log);
        const auto before = fixOf(registry);
        EXPECT_EQ(registry.accept(c.body), c.isTaken);
        EXPECT_TRUE(c.isTaken || fixOf(registry) == before);
        EXPECT_EQ(own.keys().empty(), !c.isTaken);

        // As if somebody else had kept it; the store refuses what is not UTF-8.
        if (!defaults.setValue(cacheKey, c.body)) continue;
        EXPECT_EQ(fixOf(this->registry()), fixOf(registry)) << "read back";
    }
}

TEST_F(PromptRegistryTest, aTableReplacesKeyByKey) {
    const auto builtIn = registry();
    auto served = registry();
    EXPECT_TRUE(served.accept(body("5", R"("fix":"Mend.","email":"Write.")")));
    EXPECT_EQ(fixOf(served), "Mend.");
    EXPECT_EQ(served.instructions(TransformPreset::email), "Write.");
    for (const NoteTransform& other : {NoteTransform(TransformPreset::bullets),
             NoteTransform(TransformPreset::shorter), NoteTransform(CustomTransform{"Rhyme."})})
        EXPECT_EQ(served.instructions(other), builtIn.instructions(other));

    EXPECT_TRUE(served.accept(body("6", R"("bullets":"List.")")));
    EXPECT_EQ(fixOf(served), fixOf(builtIn)) << "the table before is gone";
    EXPECT_EQ(served.instructions(TransformPreset::bullets), "List.");
}

TEST_F(PromptRegistryTest, onlyAnOlderTableIsIgnored) {
    const auto five = body("5", R"("fix":"five")");
    EXPECT_TRUE(registry().accept(five));
    auto later = registry();
    EXPECT_EQ(fixOf(later), "five");
    EXPECT_FALSE(later.accept(body("4", R"("fix":"four")")));
    EXPECT_EQ(fixOf(later), "five");
    EXPECT_EQ(kept(), five);
    const auto again = body("5", R"("fix":"five again")");
    EXPECT_TRUE(later.accept(again));
    EXPECT_EQ(fixOf(later), "five again");
    EXPECT_EQ(kept(), again);
    EXPECT_TRUE(later.accept(body("6", R"("fix":"six")")));
    EXPECT_EQ(fixOf(registry()), "six");
}

TEST_F(PromptRegistryTest, whatCannotBeKeptServesAllTheSame) {
    defaults.refusesWrites = true;
    auto served = registry();
    EXPECT_TRUE(served.accept(body("5", R"("fix":"five")")));
    EXPECT_EQ(fixOf(served), "five");
    EXPECT_FALSE(served.accept(body("4", R"("fix":"four")")));
    EXPECT_TRUE(log.has(LogLevel::warning, "not kept"));
    const auto builtIn = fixOf(registry());
    EXPECT_NE(builtIn, "five");

    defaults.refusesWrites = false;
    const auto five = body("5", R"("fix":"five")");
    keep(Bytes(five.begin(), five.end())); // of the wrong type
    EXPECT_EQ(fixOf(registry()), builtIn);
    keep(five.substr(1));
    EXPECT_EQ(fixOf(registry()), builtIn);
    keep(five);
    EXPECT_EQ(fixOf(registry()), "five");
    defaults.unreadable.insert(cacheKey);
    EXPECT_EQ(fixOf(registry()), builtIn);
    auto renewed = registry();
    EXPECT_TRUE(renewed.accept(body("1", R"("fix":"one")")));
    EXPECT_EQ(fixOf(renewed), "one");
}

TEST_F(PromptRegistryTest, theUsersInstructionGoesInAsItIs) {
    const auto builtIn = registry();
    auto served = registry();
    EXPECT_TRUE(served.accept(body("1", R"("wand":"{instruction}, I say {instruction}{x}")")));
    for (const std::string instruction : {"Rhyme", " {instruction} ", "{instruction",
             "{{instruction}}", "{x} \"y\" \\n %s $1 \\1", "\xC3\xA4\n\U0001F600"}) {
        EXPECT_EQ(served.instructions(CustomTransform{instruction}),
            instruction + ", I say " + instruction + "{x}");
        const auto whole = builtIn.instructions(CustomTransform{instruction});
        EXPECT_NE(whole.find("to the text: " + instruction + "\nOutput only"), whole.npos);
    }
    EXPECT_TRUE(served.accept(body("1", R"("fix":"Mend {instruction}.")")));
    EXPECT_EQ(fixOf(served), "Mend {instruction}.");
}

} // namespace nimbe
