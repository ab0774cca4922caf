#pragma once

#include <array>
#include <filesystem>
#include <string>

#include "NimbeEngine/Speech/SpeechModel.h"

namespace nimbe {

/// A small model with a content of its own, the same in every process.
struct TestModel {
    std::array<std::string, 4> contents;
    std::array<std::string, 4> digests;
    SpeechModel model;

    TestModel();
    TestModel(const TestModel&) = delete;
    TestModel& operator=(const TestModel&) = delete;

    /// All its files, as they should be.
    void writeTo(const std::filesystem::path& folder) const;
};

[[nodiscard]] std::string readFile(const std::filesystem::path& file);
void writeFile(const std::filesystem::path& file, const std::string& content);

} // namespace nimbe
