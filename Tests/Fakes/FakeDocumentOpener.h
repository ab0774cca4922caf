#pragma once

#include <vector>

#include "NimbeApp/DocumentOpener.h"

namespace nimbe {

/// Keeps what it was asked to open and to show, in order.
class FakeDocumentOpener final : public DocumentOpener {
public:
    std::vector<std::string> asked; // addresses and paths

    void openURL(const std::string& url) override { asked.push_back(url); }
    void reveal(const std::filesystem::path& file) override { asked.push_back(file.string()); }
};

} // namespace nimbe
