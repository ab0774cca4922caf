#include <gtest/gtest.h>

#include "Foundation/Json.h"
#include "NimbeMCP/MCPTools.h"

namespace nimbe {

TEST(MCPTools, descriptorsSayWhatTheToolsTake) {
    const auto list = Json::parse(MCPTools::descriptors()).value();
    EXPECT_EQ(list.text(), MCPTools::descriptors()) << "compact";
    struct Case {
        const char* name;
        const char* required;
        std::vector<std::string> properties;
    };
    const Case cases[] = {
        {"search_dictations", R"(["query"])", {"query", "limit", "since", "until", "mode"}},
        {"get_dictation", R"(["id"])", {"id"}},
        {"list_dictations", "", {"limit", "cursor", "since", "until"}},
    };
    ASSERT_EQ(list.asArray()->size(), std::size(cases));
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const auto& c = cases[i];
        const auto& tool = list.asArray()->at(i);
        EXPECT_EQ(tool.asObject()->size(), 4U);
        EXPECT_EQ(*tool.member("name")->asString(), c.name);
        EXPECT_EQ(
            tool.member("annotations")->text(), R"({"readOnlyHint":true,"openWorldHint":false})");
        const auto& schema = *tool.member("inputSchema");
        EXPECT_EQ(*schema.member("type")->asString(), "object");
        const auto* required = schema.member("required");
        EXPECT_EQ(required ? required->text() : "", c.required);
        std::vector<std::string> names;
        for (const auto& [name, property] : *schema.member("properties")->asObject()) {
            names.push_back(name);
            EXPECT_EQ(property.asObject()->size(), 2U) << name;
            EXPECT_EQ(*property.member("type")->asString(), name == "limit" ? "integer" : "string");
        }
        EXPECT_EQ(names, c.properties);
    }
}

} // namespace nimbe
