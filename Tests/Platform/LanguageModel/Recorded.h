#pragma once

#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

namespace nimbe {

/// A body as a server sends it; see Recorded/README.md.
inline std::string recorded(const std::string& name) {
    std::ifstream in(NIMBE_RECORDED + name, std::ios::binary);
    EXPECT_TRUE(in.is_open()) << name;
    return {std::istreambuf_iterator<char>(in), {}};
}

} // namespace nimbe
