#include <cstdint>

#include "Check.h"
#include "NimbeKitCore/History/LocalHistoryCipher.h"

/// A stored blob holds any bytes: it opens only as what was sealed, and nothing that
/// differs from a sealed blob opens at all.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace nimbe;
    const SymmetricKey key(Bytes(32, 7));
    check(!LocalHistoryCipher::decrypt({data, size}, key), "foreign bytes do not open");

    const auto sealed = LocalHistoryCipher::encrypt({data, size}, key);
    check(sealed.has_value() && sealed->size() == size + 28, "everything can be sealed");
    check(LocalHistoryCipher::decrypt(*sealed, key) == Bytes(data, data + size),
        "and opens as it was");
    if (size < 4) return 0;
    // The input says where the blob is changed, and how.
    auto altered = *sealed;
    const std::size_t at = (data[0] * std::size_t{256} + data[1]) % altered.size();
    altered[at] = static_cast<std::uint8_t>(altered[at] ^ (data[2] == 0 ? 1 : data[2]));
    check(!LocalHistoryCipher::decrypt(altered, key), "an altered one does not");
    altered = *sealed;
    altered.resize(data[3] % altered.size());
    check(!LocalHistoryCipher::decrypt(altered, key), "nor a cut one");
    return 0;
}
