#pragma once

#include <string>
#include <string_view>

namespace nimbe {

struct EmailComposer {
    /// An e-mail around `body`, whose own greeting and sign-off are dropped so
    /// that neither shows twice. Either name may be empty.
    [[nodiscard]] static std::string compose(
        std::string_view recipientName, std::string_view body, std::string_view signatureName);
};

} // namespace nimbe
