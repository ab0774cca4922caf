#include "ModelsFixture.h"

#include <cstdlib>

namespace nimbe {

namespace fs = std::filesystem;

ModelsFixture::ModelsFixture() {
    for (const char* name : {"http_proxy", "https_proxy", "all_proxy", "no_proxy"})
        ::unsetenv(name);
    makeStore(http);
    serveAll();
}

void ModelsFixture::makeStore(HttpClient& client, std::uint64_t spareBytes) {
    SpeechModelStore::Options options;
    options.stallDeadline = 0.15;
    options.spareBytes = spareBytes;
    store.emplace(loop, client, SpeechModelStore::Folders{models, cache, packaged}, log, options);
}

std::string ModelsFixture::path(std::size_t file) const {
    return "/" + std::string(model.folder) + "/" + std::string(model.files.at(file).name);
}

fs::path ModelsFixture::partial(std::size_t file) const {
    const auto& known = model.files.at(file);
    return cache / model.folder /
           (std::string(known.name) + "." + std::string(known.sha256.substr(0, 12)) + ".partial");
}

ModelsFixture::Page ModelsFixture::goodPage(std::size_t file) const {
    Page page;
    page.body = test.contents.at(file);
    return page;
}

void ModelsFixture::serveAll() {
    for (std::size_t i = 0; i < test.contents.size(); ++i) server.put(path(i), goodPage(i));
}

Task<void> ModelsFixture::keep(Task<Outcome> work, std::optional<Outcome>& outcome) {
    outcome = co_await work;
}

ModelsFixture::Outcome ModelsFixture::run(Task<Outcome> work) {
    std::optional<Outcome> outcome;
    const Token watchdog = loop.schedule(20, [this] { loop.stop(); });
    loop.runUntilDone(keep(std::move(work), outcome));
    if (!outcome) return failure(SpeechModelError{Kind::failed, "the watchdog of the test"});
    return *outcome;
}

ModelsFixture::Outcome ModelsFixture::install(
    std::string address, std::function<void(Progress)> onProgress) {
    return run(store->install(model, std::move(address), std::move(onProgress)));
}

ModelsFixture::Outcome ModelsFixture::verify() {
    return run(store->verify(model));
}

bool ModelsFixture::waitUntil(const std::function<bool()>& isDone) {
    for (int i = 0; i < 4000; ++i) {
        if (isDone()) return true;
        const Token wake = loop.schedule(0.002, [this] { loop.stop(); });
        loop.run();
    }
    return false;
}

void ModelsFixture::expectWhole(const std::string& why) {
    for (std::size_t i = 0; i < test.contents.size(); ++i)
        EXPECT_EQ(readFile(place / model.files[i].name) == test.contents[i], true) << why;
    const auto entries = std::distance(fs::directory_iterator(models), {});
    EXPECT_EQ(entries, 2) << why << ": the model and its lock";
    EXPECT_EQ(std::distance(fs::directory_iterator(place), {}), 4) << why;
    EXPECT_FALSE(fs::exists(cache / model.folder)) << why;
}

std::string text(const Result<void, SpeechModelError>& outcome) {
    if (outcome) return "done";
    return outcome.error().message() + " " + outcome.error().file + " " + outcome.error().detail;
}

} // namespace nimbe
