#pragma once

#include <deque>

#include "NimbeEngine/Speech/SpeechAssets.h"

namespace nimbe {

/// English is supported; the rest is scripted. A download without an answer hangs.
class FakeSpeechAssets final : public SpeechAssets {
public:
    Status state = Status::installed;
    std::deque<Result<void, std::string>> downloads;
    std::vector<double> progress; // told before a download ends
    std::vector<std::string> reserved;
    std::size_t maximum = 1;
    std::optional<std::string> reserveError;
    std::vector<std::string> asked; // to be downloaded

    std::optional<std::string> supportedLocale(std::string_view equivalentTo) override {
        if (!equivalentTo.starts_with("en")) return std::nullopt;
        return std::string("en-US");
    }
    std::vector<std::string> installedLocales() override {
        if (state != Status::installed) return {};
        return {"en-US"};
    }
    Status status(std::string_view /*locale*/) override { return state; }
    Task<Result<void, std::string>> downloadAndInstall(
        std::string locale, std::function<void(double)> onProgress) override {
        asked.push_back(std::move(locale));
        for (const double part : progress) onProgress(part);
        if (downloads.empty()) co_await never();
        auto answer = downloads.front();
        downloads.pop_front();
        if (answer) state = Status::installed;
        co_return answer;
    }
    std::vector<std::string> reservedLocales() override { return reserved; }
    std::size_t maximumReservedLocales() override { return maximum; }
    Result<void, std::string> reserve(std::string_view locale) override {
        if (reserveError) return failure(*reserveError);
        reserved.emplace_back(locale);
        return {};
    }
};

} // namespace nimbe
