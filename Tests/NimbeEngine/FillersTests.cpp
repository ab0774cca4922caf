#include <gtest/gtest.h>

#include "NimbeEngine/Text/Fillers.h"

namespace nimbe {

TEST(Fillers, goWithTheirCommas) {
    struct Case {
        std::string_view spoken;
        std::string_view keepingCase;
        std::string_view capitalizing;
    };
    const Case cases[] = {
        {"um so I think, uh, we should go", "so I think, we should go", "So I think, we should go"},
        {"yes, uh , no", "yes, no", "yes, no"},
        {"Summer is humid, her error", "Summer is humid, her error", "Summer is humid, her error"},
        {"UHHH hmmm erm ER ah ok", "ok", "Ok"},
        {"ermm no", "ermm no", "ermm no"}, // only the listed letters repeat
        {"um, uh.", ".", "."},
        {"uh um", "", ""},
        {" \n um\n, ,x,,y , , z", "x,y, z", "X,y, z"},
        {"a\n\t, um b", "a\nb", "a\nb"},
        {"um ßeta", "ßeta", "SSeta"},
        {"um 3 cats", "3 cats", "3 Cats"},
        {"um-hm", "-", "-"},
        {"hm\u0301 ok", "hm\u0301 ok", "hm\u0301 ok"}, // an accented m is another letter
        {"so um yes", "so yes", "so yes"},
        {"um (ah) yes", "() yes", "() Yes"},
        {"äh um", "äh", "äh"},
        {"", "", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(stripFillers(c.spoken, true), c.keepingCase) << c.spoken;
        EXPECT_EQ(stripFillers(c.spoken, false), c.capitalizing) << c.spoken;
    }
}

} // namespace nimbe
