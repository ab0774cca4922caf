#pragma once

#include <deque>

#include "NimbeApp/FolderPicker.h"

namespace nimbe {

/// Scripted answers, in order. With none left the dialog stays open.
class FakeFolderPicker final : public FolderPicker {
public:
    std::deque<std::optional<std::filesystem::path>> answers;
    int opened = 0;

    [[nodiscard]] Task<std::optional<std::filesystem::path>> chooseFolder() override {
        ++opened;
        if (answers.empty()) co_await never();
        auto answer = std::move(answers.front());
        answers.pop_front();
        co_return answer;
    }
};

} // namespace nimbe
