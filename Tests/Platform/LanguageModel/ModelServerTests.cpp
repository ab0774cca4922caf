#include <gtest/gtest.h>

#include "FakeServers.h"
#include "Fakes/ManualMainActor.h"
#include "Foundation/TaskScope.h"
#include "PlatformLanguageModel/ModelSearch.h"
#include "Recorded.h"

namespace nimbe {
namespace {

using Kind = ModelServer::Kind;

const std::vector<HttpRequest::Header> ofLlamaCpp = {{"server", "llama.cpp"}};

struct ModelServerTest : testing::Test {
    ManualMainActor actor;
    FakeServers http{actor};
    std::optional<ModelServer> found;

    static Task<void> take(Task<ModelServer> finding, std::optional<ModelServer>* found) {
        auto server = co_await finding;
        found->emplace(std::move(server));
    }
    /// The answer, and how long it took.
    LanguageModel::Availability find(ModelSearch search, Seconds wait = 0) {
        found.reset();
        const auto task = startTask(
            actor, take(findModelServer(actor, http, std::move(search), {1, 2, 3}, 2), &found));
        actor.runPosted();
        if (wait > 0) actor.advance(wait);
        EXPECT_TRUE(found);
        return found ? found->availability : LanguageModel::Availability();
    }

    void ollama(const std::string& at, const char* loaded = "ollama/ps.json") {
        http.put(at + "/v1/models", recorded("ollama/models.json"));
        http.put(at + "/api/version", recorded("ollama/version.json"));
        http.put(at + "/api/tags", recorded("ollama/tags.json"));
        http.put(at + "/api/ps", recorded(loaded));
        http.put(at + "/api/v0/models", "404 page not found", 404);
    }
    void lmStudio(const std::string& at, bool tellsStates = true) {
        http.put(at + "/v1/models", recorded("lm-studio/models.json"));
        http.put(at + "/api/version", recorded("lm-studio/error-path.json"));
        http.put(at + "/api/v0/models",
            recorded(tellsStates ? "lm-studio/models-states.json" : "lm-studio/error-path.json"));
    }
};

const std::string one = "http://127.0.0.1:1";
const std::string two = "http://127.0.0.1:2";
const std::string three = "http://127.0.0.1:3";

} // namespace

// What such a model is asked goes through the server of this machine to another one.
TEST_F(ModelServerTest, aModelThatRunsElsewhereNeedsLeave) {
    const std::string local = R"({"name":"local:1b"})";
    struct Case {
        const char* why;
        std::string tags;
        const char* name;
        bool mayLeave;
        Kind kind;
        const char* model;
    };
    const std::string hosted = R"({"name":"big:120b","remote_host":"https://models.example"})";
    const std::string named = R"({"name":"big:120b-cloud"})";
    const Case cases[] = {
        {"the other one is chosen", hosted + "," + local, "", false, Kind::available, "local:1b"},
        {"told by its name", named + "," + local, "", false, Kind::available, "local:1b"},
        {"told by the model's name there", R"({"name":"big","remote_model":"b"},)" + local, "",
            false, Kind::available, "local:1b"},
        {"it alone", hosted, "", false, Kind::notAllowed, "big:120b"},
        {"by its name", hosted + "," + local, "big:120b", false, Kind::notAllowed, "big:120b"},
        {"allowed", hosted, "", true, Kind::available, "big:120b"},
        {"allowed by name", named + "," + local, "big:120b-cloud", true, Kind::available,
            "big:120b-cloud"},
        {"none of that name", hosted, "other", false, Kind::noModel, "other"},
    };
    for (const auto& c : cases) {
        http.pages.clear();
        ollama(one);
        http.pages[one + "/api/tags"].clear();
        http.put(one + "/api/tags", R"({"models":[)" + c.tags + "]}");
        const auto got = find({one, c.mayLeave, c.name});
        EXPECT_EQ(got.kind, c.kind) << c.why << got.message();
        EXPECT_EQ(got.model, c.model) << c.why;
    }
    http.pages[one + "/api/tags"].clear(); // an old version, or one that fails
    http.put(one + "/v1/models", R"({"data":[{"id":"a:cloud"},{"id":"b"}]})");
    http.pages[one + "/v1/models"].pop_front();
    EXPECT_EQ(find({one, false, ""}).model, "b");
    http.pages[one + "/api/version"].clear(); // nobody knows who answers
    EXPECT_EQ(find({one, false, ""}).model, "b");
    EXPECT_EQ(find({one, false, "a:cloud"}).kind, Kind::notAllowed);
    EXPECT_EQ(find({one, true, "a:cloud"}).kind, Kind::available);
}

TEST_F(ModelServerTest, tellsWhoAnswersAndTheModelToAsk) {
    const std::string none;
    struct Case {
        const char* why;
        std::function<void(ModelServerTest&)> setUp;
        std::string name;
        Kind kind;
        const char* server;
        const char* model;
        ChatForm::Thinking thinking = ChatForm::Thinking::unsaid;
    };
    using Thinking = ChatForm::Thinking;
    const auto put = [](const std::string& body, int status = 200,
                         const std::vector<HttpRequest::Header>& headers = {}) {
        return [=](ModelServerTest& t) {
            t.http.put(one + "/v1/models", body, status, headers);
        };
    };
    const auto models = recorded("llama.cpp/models.json");
    const auto router = recorded("llama.cpp/models-router.json");
    const char* const tiny = "/models/tiny-random.gguf";
    const Case cases[] = {
        {"llama.cpp", put(models, 200, ofLlamaCpp), none, Kind::available, "llama.cpp", tiny,
            Thinking::templateArgument},
        {"known without its header", put(models), none, Kind::available, "llama.cpp", tiny,
            Thinking::templateArgument},
        {"it answers to any name", put(models), "other", Kind::available, "llama.cpp", tiny,
            Thinking::templateArgument},
        {"of several the one that is loaded", put(router), none, Kind::available, "llama.cpp",
            "tiny-random", Thinking::templateArgument},
        {"of several one by name", put(router), "tiny-thinking", Kind::available, "llama.cpp",
            "tiny-thinking", Thinking::templateArgument},
        {"or none of that name", put(router), "other", Kind::noModel, "llama.cpp", "other",
            Thinking::templateArgument},
        {"loading", put(recorded("llama.cpp/error-loading.json"), 503, ofLlamaCpp), none,
            Kind::loading, "llama.cpp", "", Thinking::templateArgument},
        {"with a key", put(recorded("llama.cpp/error-key.json"), 401, ofLlamaCpp), none,
            Kind::refused, "llama.cpp", "", Thinking::templateArgument},
        {"Ollama, what is loaded", [](auto& t) { t.ollama(one); }, none, Kind::available, "Ollama",
            "llama3.2:latest", Thinking::effort},
        {"the first that is not for embedding",
            [](auto& t) { t.ollama(one, "ollama/ps-none.json"); }, none, Kind::available, "Ollama",
            "qwen3:4b", Thinking::effort},
        {"without a tag", [](auto& t) { t.ollama(one); }, "llama3.2", Kind::available, "Ollama",
            "llama3.2:latest", Thinking::effort},
        {"not of another tag", [](auto& t) { t.ollama(one); }, "qwen3", Kind::noModel, "Ollama",
            "qwen3", Thinking::effort},
        {"embedding by name", [](auto& t) { t.ollama(one); }, "nomic-embed-text:latest",
            Kind::noModel, "Ollama", "nomic-embed-text:latest", Thinking::effort},
        {"Ollama without a model",
            [](auto& t) {
                t.http.put(one + "/v1/models", recorded("ollama/models-none.json"));
                t.http.put(one + "/api/version", recorded("ollama/version.json"));
            },
            none, Kind::noModel, "Ollama", "", Thinking::effort},
        {"LM Studio, what is loaded and writes", [](auto& t) { t.lmStudio(one); }, none,
            Kind::available, "LM Studio", "qwen3-4b", Thinking::effort},
        {"one by name", [](auto& t) { t.lmStudio(one); }, "llama-3.2-1b-instruct", Kind::available,
            "LM Studio", "llama-3.2-1b-instruct", Thinking::effort},
        {"an older one", [](auto& t) { t.lmStudio(one, false); }, none, Kind::available, "",
            "llama-3.2-1b-instruct"},
        {"any other", put(R"({"object":"list","data":[{"id":"m","object":"model"}]})"), none,
            Kind::available, "", "m"},
        {"any other by name", put(R"({"data":[{"id":"m"},{"id":"n"}]})"), "n", Kind::available, "",
            "n"},
        {"any other without", put(R"({"data":[]})"), none, Kind::noModel, "", ""},
        {"a page", put("<!doctype html>"), none, Kind::notAServer, "", ""},
        {"other JSON", put(R"({"data":{"id":1}})"), none, Kind::notAServer, "", ""},
        {"a list of other things", put(R"({"data":[{"name":"x"}]})"), none, Kind::notAServer, "",
            ""},
        {"JSON's own word", put("true"), none, Kind::notAServer, "", ""},
        {"not found", put("404 page not found", 404), none, Kind::notAServer, "", ""},
        {"no such path", put(recorded("lm-studio/error-path.json")), none, Kind::notAServer, "",
            ""},
        {"sent elsewhere", put("", 302, {{"location", "http://192.0.2.1/"}}), none, Kind::refused,
            "", ""},
        {"its own fault", put("", 500), none, Kind::refused, "", ""},
        {"megabytes", put(std::string((1 << 20) + 1, ' ')), none, Kind::notAServer, "", ""},
        {"nobody", [](auto&) {}, none, Kind::noServer, "", ""},
    };
    for (const auto& c : cases) {
        http.pages.clear();
        c.setUp(*this);
        const auto got = find({one, false, c.name});
        EXPECT_EQ(got.kind, c.kind) << c.why;
        EXPECT_EQ(got.server, c.server) << c.why;
        EXPECT_EQ(got.model, c.model) << c.why;
        EXPECT_EQ(got.address, one) << c.why;
        EXPECT_EQ(found->form().thinking, c.thinking) << c.why;
    }
    for (const auto& request : http.asked) {
        EXPECT_TRUE(request.url.starts_with(one + "/")) << request.url;
        EXPECT_FALSE(request.followsRedirects);
        EXPECT_LE(request.largestBody, 1U << 20);
    }
}

TEST_F(ModelServerTest, listsTheModelsThatWrite) {
    ollama(one);
    using Names = std::vector<std::string>;
    EXPECT_EQ(find({one, false, ""}).models, (Names{"qwen3:4b", "llama3.2:latest"}));
    http.pages.clear();
    lmStudio(one);
    EXPECT_EQ(find({one, false, ""}).models, (Names{"llama-3.2-1b-instruct", "qwen3-4b"}));
}

TEST_F(ModelServerTest, sendsNothingToWhereThatIsNotAllowed) {
    struct Case {
        const char* address;
        bool allowsOthers;
        Kind kind;
        std::size_t asked;
    };
    const Case cases[] = {
        {"http://192.0.2.1:11434", false, Kind::notAllowed, 0},
        {"https://models.example.org/v1", false, Kind::notAllowed, 0},
        {"http://localhost.example.org", false, Kind::notAllowed, 0},
        {"http://127.0.0.256:11434", false, Kind::notAllowed, 0}, // a name, and looked up as one
        {"http://127.0.0.255:11434", false, Kind::noServer, 1},
        {"http://127.0.0.08:11434", false, Kind::notAllowed, 0}, // no number in base eight
        {"http://127.0.0.010:11434", false, Kind::noServer, 1},
        {"http://127.0.0.1:1@192.0.2.1", false, Kind::noServer, 0},
        {"http://127.0.0.1:1@192.0.2.1", true, Kind::noServer, 0},
        {"file:///etc/passwd", true, Kind::noServer, 0},
        {"192.0.2.1", true, Kind::noServer, 0},
        {"http://192.0.2.1:11434", true, Kind::noServer, 1},
        {"http://localhost:11434/v1/", false, Kind::noServer, 1},
        {"http://[::1]:11434//", false, Kind::noServer, 1},
    };
    for (const auto& c : cases) {
        http.asked.clear();
        EXPECT_EQ(find({c.address, c.allowsOthers, ""}).kind, c.kind) << c.address;
        EXPECT_EQ(http.asked.size(), c.asked) << c.address;
    }
    EXPECT_EQ(http.asked.back().url, "http://[::1]:11434/v1/models");
}

TEST_F(ModelServerTest, ofTheUsualPortsTheFirstWithAModelCounts) {
    const auto page = [](std::string body) {
        FakeServers::Page answered;
        answered.answer = HttpResponse{200, {}, std::move(body)};
        return answered;
    };
    FakeServers::Page silent;
    silent.hangs = true;
    FakeServers::Page late = page(R"({"data":[{"id":"late"}]})");
    late.pause = 1.9;
    const auto html = page("<!doctype html>");
    const auto empty = page(R"({"data":[]})");
    const auto good = page(R"({"data":[{"id":"good"}]})");
    FakeServers::Page loading = page(recorded("llama.cpp/error-loading.json"));
    loading.answer->status = 503;
    FakeServers::Page locked = page("<!doctype html>");
    locked.answer->status = 401;
    struct Case {
        const char* why;
        std::vector<std::optional<FakeServers::Page>> pages;
        Kind kind;
        std::string address;
    };
    const Case cases[] = {
        {"none", {{}, {}, {}}, Kind::noServer, ""},
        {"one of them", {{}, good, {}}, Kind::available, two},
        {"two of them", {{}, good, good}, Kind::available, two},
        {"a page in front", {html, {}, good}, Kind::available, three},
        {"only a page", {html, {}, {}}, Kind::noServer, ""},
        {"only what wants a password", {locked, {}, {}}, Kind::noServer, ""},
        {"what never answers", {silent, good, {}}, Kind::available, two},
        {"only what never answers", {silent, {}, {}}, Kind::noServer, ""},
        {"late, but first", {late, good, {}}, Kind::available, one},
        {"without a model", {empty, {}, good}, Kind::available, three},
        {"loading tells more than no model", {empty, html, loading}, Kind::loading, three},
        {"no model tells more than nobody", {{}, empty, html}, Kind::noModel, two},
    };
    const std::string addresses[] = {one, two, three};
    for (const auto& c : cases) {
        http.pages.clear();
        for (std::size_t i = 0; i < 3; ++i)
            if (c.pages[i]) http.put(addresses[i] + "/v1/models", *c.pages[i]);
        const auto got = find({"", false, ""}, 2);
        EXPECT_EQ(got.kind, c.kind) << c.why;
        EXPECT_EQ(got.address, c.address) << c.why;
        EXPECT_EQ(actor.pendingTimers(), 0U) << c.why;
    }
}

TEST_F(ModelServerTest, isNotWaitedForBeyondTheDeadline) {
    http.put(one + "/v1/models", recorded("ollama/models.json"));
    FakeServers::Page silent;
    silent.hangs = true;
    http.put(one + "/api/version", silent);
    EXPECT_EQ(find({one, false, ""}, 2).kind, Kind::unresponsive);
}

} // namespace nimbe
