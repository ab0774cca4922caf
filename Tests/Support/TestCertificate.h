#pragma once

#include <string>

namespace nimbe {

/// A certificate for 127.0.0.1 that it signed itself, and its key, both as PEM.
struct TestCertificate {
    std::string certificate;
    std::string key;

    [[nodiscard]] static TestCertificate make();
};

} // namespace nimbe
