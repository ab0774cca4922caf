#pragma once

#include <functional>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "Fakes/FakeLogSink.h"
#include "Foundation/RunLoop.h"
#include "PlatformHttp/CurlHttpClient.h"
#include "PlatformModels/SpeechModelStore.h"
#include "Support/TemporaryFolder.h"
#include "Support/TestHttpServer.h"
#include "TestModel.h"

namespace nimbe {

/// A store on a folder of its own, with a server that has the test's model.
class ModelsFixture : public testing::Test {
protected:
    using Kind = SpeechModelError::Kind;
    using Outcome = Result<void, SpeechModelError>;
    using Page = TestHttpServer::Page;
    using Progress = SpeechModels::Progress;

    ModelsFixture();

    TemporaryFolder folder;
    const std::filesystem::path models = folder.path / "data" / "models";
    const std::filesystem::path cache = folder.path / "cache" / "models";
    const std::filesystem::path packaged = folder.path / "packaged";
    const TestModel test;
    const SpeechModel& model = test.model;
    const std::filesystem::path place = models / model.folder;
    const std::filesystem::path staging = models / ".test-model-en.installing";
    RunLoop loop;
    FakeLogSink log;
    TestHttpServer server;
    CurlHttpClient http{loop};
    std::optional<SpeechModelStore> store;

    /// With another client, and so much that stays free.
    void makeStore(HttpClient& client, std::uint64_t spareBytes = 0);
    [[nodiscard]] std::string path(std::size_t file) const;
    [[nodiscard]] std::filesystem::path partial(std::size_t file) const;
    /// All files as they should be.
    void serveAll();
    [[nodiscard]] Page goodPage(std::size_t file) const;

    [[nodiscard]] Outcome install() { return install(server.address()); }
    [[nodiscard]] Outcome install(
        std::string address, std::function<void(Progress)> onProgress = {});
    [[nodiscard]] Outcome verify();
    [[nodiscard]] Task<void> keep(Task<Outcome> work, std::optional<Outcome>& outcome);
    /// Runs the loop until `isDone`; false when that takes too long.
    [[nodiscard]] bool waitUntil(const std::function<bool()>& isDone);
    /// In its place with the right bytes, and nothing else anywhere.
    void expectWhole(const std::string& why);

private:
    [[nodiscard]] Outcome run(Task<Outcome> work);
};

[[nodiscard]] std::string text(const Result<void, SpeechModelError>& outcome);

} // namespace nimbe
