#include "NimbeMCP/SubstringSearch.h"

#include <algorithm>

namespace nimbe {
namespace {

constexpr std::size_t blockSize = 64;

/// Whether the needle may begin in this block: three of its bytes stand where they would.
/// Without branches, so that the compiler makes vectors of it.
bool mayBeginIn(const char* first, const char* middle, const char* last, char a, char b, char c) {
    unsigned char any = 0;
    for (std::size_t i = 0; i < blockSize; ++i) {
        const auto isFirst = static_cast<unsigned char>(first[i] == a ? 0xFF : 0);
        const auto isMiddle = static_cast<unsigned char>(middle[i] == b ? 0xFF : 0);
        const auto isLast = static_cast<unsigned char>(last[i] == c ? 0xFF : 0);
        any = static_cast<unsigned char>(any | (isFirst & isMiddle & isLast));
    }
    return any != 0;
}

} // namespace

std::size_t SubstringSearch::find(std::string_view in, std::size_t from) const {
    const std::size_t lastOffset = needle.size() - 1;
    const std::size_t middleOffset = needle.size() / 2;
    std::size_t at = from;
    while (at < in.size() && in.size() - at >= blockSize + lastOffset) {
        const char* block = in.data() + at;
        if (mayBeginIn(block, block + middleOffset, block + lastOffset, needle.front(),
                needle[middleOffset], needle.back())) {
            const auto found = in.substr(at, blockSize + lastOffset).find(needle);
            if (found != in.npos) return at + found;
        }
        at += blockSize;
    }
    return at < in.size() ? in.find(needle, at) : in.npos;
}

} // namespace nimbe
