#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Foundation/RunLoop.h"
#include "Foundation/TaskScope.h"
#include "PlatformX11/XcbPasteboard.h"
#include "XcbStranger.h"

namespace nimbe {

inline Bytes bytes(const std::string& text) {
    return {text.begin(), text.end()};
}

/// As it stands in a clipboard, with its encoding.
inline Form utf8(const std::string& text) {
    return {"UTF8_STRING", bytes(text), "UTF8_STRING", 8};
}

/// Of a pattern that shows a byte that is missing, doubled or in the wrong place.
inline Form large(const std::string& type, std::size_t size) {
    Form form{type, Bytes(size), type, 8};
    std::uint32_t state = 1;
    for (auto& byte : form.data) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<std::uint8_t>(state >> 24U);
    }
    return form;
}

/// Nothing runs on the main actor but in wait().
class PasteboardTest : public testing::Test {
protected:
    using Contents = PasteboardContents;
    using Change = Pasteboard::Change;

    RunLoop loop;
    FakeLogSink log;
    std::unique_ptr<XcbPasteboard> board;
    StrangeRequestor other;

    void SetUp() override {
        board = XcbPasteboard::create(loop, "CLIPBOARD", log);
        ASSERT_TRUE(board) << "runs under scripts/desktop-session";
    }

    /// Runs the loop until the task ends; throws when that takes ten seconds.
    template <typename T>
    T wait(Task<T> task) {
        std::optional<T> result;
        loop.runUntilDone(keep(withDeadline(loop, 10, std::move(task)), result));
        if (!result) throw std::runtime_error("nothing happened for ten seconds");
        return std::move(*result);
    }
    Contents snapshot() { return wait(board->snapshot()); }
    Change write(Contents contents) { return wait(board->write(std::move(contents))).value_or(-1); }
    bool replace(Change change, Contents contents) {
        return wait(board->replace(change, std::move(contents)));
    }
    std::string text(const std::string& target = "UTF8_STRING") {
        const auto form = other.fetch(target);
        return form ? std::string(form->data.begin(), form->data.end()) : "(refused)";
    }
    template <typename Action>
    Seconds timeOf(Action action) {
        const Seconds begin = loop.now();
        action();
        return loop.now() - begin;
    }

private:
    template <typename T>
    static Task<void> keep(Task<std::optional<T>> task, std::optional<T>& result) {
        auto value = co_await task;
        result = std::move(value);
    }
};

} // namespace nimbe
