#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "NimbeApp/Pasteboard.h"

namespace nimbe {

/// A pasteboard in memory. Each step answers at once, is refused, or never ends.
class FakePasteboard final : public Pasteboard {
public:
    enum class Step { snapshot, write, replace };

    PasteboardContents contents; // what stands there now, whoever has written it
    std::optional<Step> failing; // a snapshot: its owner gives nothing
    std::optional<Step> hanging;

    // What was asked for, in order: "snapshot", "write", "replace".
    std::vector<std::string> steps;
    std::vector<PasteboardContents> written; // by this program, in order
    std::function<void(Step)> before;        // runs first in each step
    std::function<void()> onTaken;           // another program is told of this one's contents

    /// Another program copies something.
    void writeFromElsewhere(PasteboardContents other) {
        contents = std::move(other);
        newest = 0;
    }

    /// Another program pastes: the text, or nothing when there is none.
    [[nodiscard]] std::optional<std::string> paste() {
        for (const auto& form : contents.forms) {
            if (form.type != "UTF8_STRING") continue;
            if (newest != 0) ++reads[newest];
            return std::string(form.data.begin(), form.data.end());
        }
        return std::nullopt;
    }

    /// Whether what stands there is this program's.
    [[nodiscard]] bool isOwn() const { return newest != 0; }

    Task<PasteboardContents> snapshot() override {
        begin(Step::snapshot, "snapshot");
        return answer(
            hanging == Step::snapshot, failing == Step::snapshot ? PasteboardContents() : contents);
    }
    Task<std::optional<Change>> write(PasteboardContents own) override {
        begin(Step::write, "write");
        std::optional<Change> change;
        if (isPossible(Step::write)) change = take(std::move(own));
        return answer(hanging == Step::write, change);
    }
    Task<bool> replace(Change change, PasteboardContents own) override {
        begin(Step::replace, "replace");
        const bool isReplaced = isPossible(Step::replace) && newest == change;
        if (isReplaced) take(std::move(own));
        return answer(hanging == Step::replace, isReplaced);
    }
    [[nodiscard]] int timesRead(Change change) const override {
        const auto found = reads.find(change);
        return found == reads.end() ? 0 : found->second;
    }

private:
    Change last = 0;
    Change newest = 0; // of this program's writes; 0: another program has written since
    std::map<Change, int> reads;

    void begin(Step step, const char* name) {
        steps.emplace_back(name);
        if (before) before(step);
    }
    [[nodiscard]] bool isPossible(Step step) const { return hanging != step && failing != step; }
    template <typename T>
    static Task<T> answer(bool isHanging, T value) {
        if (isHanging) co_await never();
        co_return value;
    }
    Change take(PasteboardContents own) {
        written.push_back(own);
        contents = std::move(own);
        newest = ++last;
        if (onTaken) onTaken();
        return newest;
    }
};

} // namespace nimbe
