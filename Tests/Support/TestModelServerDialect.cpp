#include "Support/TestModelServerDialect.h"

#include <utility>

namespace nimbe::modelserver {
namespace {

using Options = TestModelServerOptions;
using Page = TestHttpServer::Page;
using Request = TestHttpServer::Request;

constexpr std::int64_t created = 1700000000;

Json texts(std::initializer_list<const char*> all) {
    Json::Array array;
    for (const char* text : all) array.emplace_back(text);
    return Json(std::move(array));
}

template <class Entry>
Json listed(const Options& options, Entry entry) {
    Json::Array all;
    for (const auto& model : options.models) all.push_back(entry(model));
    return Json(std::move(all));
}

Page textPage(Options::Dialect dialect, const std::string& text, int status = 200) {
    return {.body = text, .status = status, .headers = headers(dialect, "text/plain")};
}

Json llamaModel(const Options& options, const Options::Model& model) {
    const auto length = Json::integer(static_cast<std::int64_t>(options.contextLength));
    Json::Object entry{{"id", Json(model.id)},
        {"aliases", options.models.size() == 1 ? Json(Json::Array{Json(model.id)}) : texts({})},
        {"tags", texts({})}, {"object", Json("model")}};
    const Json architecture(Json::Object{
        {"input_modalities", texts({"text"})}, {"output_modalities", texts({"text"})}});
    const Json meta(Json::Object{{"vocab_type", Json::integer(1)}, {"n_vocab", Json::integer(365)},
        {"n_ctx", length}, {"n_ctx_train", length}, {"n_embd", Json::integer(64)},
        {"n_params", Json::integer(128960)}, {"size", Json::integer(515840)},
        {"ftype", Json("all F32")}});
    if (options.models.size() == 1) {
        entry.push_back({"architecture", architecture});
        entry.push_back({"created", Json::integer(created)});
        entry.push_back({"owned_by", Json("llamacpp")});
        entry.push_back({"meta", meta});
        return Json(std::move(entry));
    }
    entry.push_back({"owned_by", Json("llamacpp")});
    entry.push_back({"created", Json::integer(created)});
    entry.push_back(
        {"status", Json(Json::Object{{"value", Json(model.isLoaded ? "loaded" : "unloaded")},
                       {"args", texts({"/usr/bin/llama-server"})},
                       {"preset", Json("[" + model.id + "]\n")}})});
    entry.push_back({"architecture", architecture});
    entry.push_back({"source", Json("models_dir")});
    entry.push_back({"can_remove", Json(false)});
    entry.push_back({"context_length", length});
    if (model.isLoaded) entry.push_back({"meta", meta});
    return Json(std::move(entry));
}

Json llamaModels(const Options& options) {
    const auto data =
        listed(options, [&](const auto& model) { return llamaModel(options, model); });
    if (options.models.size() != 1)
        return Json(Json::Object{{"data", data}, {"object", Json("list")}});
    const auto& model = options.models.front();
    const Json models(Json::Array{Json(Json::Object{{"name", Json(model.id)},
        {"model", Json(model.id)}, {"modified_at", Json("")}, {"size", Json("")},
        {"digest", Json("")}, {"type", Json("model")}, {"description", Json("")},
        {"tags", texts({""})}, {"capabilities", texts({"completion"})}, {"parameters", Json("")},
        {"details", Json(Json::Object{{"parent_model", Json("")}, {"format", Json("gguf")},
                        {"family", Json("")}, {"families", texts({""})},
                        {"parameter_size", Json("")}, {"quantization_level", Json("")}})}})});
    return Json(Json::Object{{"models", models}, {"object", Json("list")}, {"data", data}});
}

Json llamaProperties(const Options& options) {
    if (options.models.size() != 1)
        return Json(Json::Object{{"role", Json("router")}, {"max_instances", Json::integer(4)},
            {"models_autoload", Json(true)}, {"model_alias", Json("llama-server")},
            {"model_path", Json("none")},
            {"default_generation_settings",
                Json(Json::Object{{"params", Json()}, {"n_ctx", Json::integer(0)}})},
            {"ui_settings", Json(Json::Object())}, {"build_info", Json("b11669")},
            {"cors_proxy_enabled", Json(false)}});
    const auto& id = options.models.front().id;
    return Json(Json::Object{
        {"default_generation_settings",
            Json(Json::Object{{"params", Json(Json::Object{{"temperature", Json::number(0.8)}})},
                {"n_ctx", Json::integer(static_cast<std::int64_t>(options.contextLength))}})},
        {"total_slots", Json::integer(4)}, {"model_alias", Json(id)}, {"model_path", Json(id)},
        {"modalities", Json(Json::Object{{"vision", Json(false)}, {"audio", Json(false)}})},
        {"chat_template", Json("{{messages}}")}, {"build_info", Json("b11669")}});
}

Page llamaInfo(const Options& options, const Request& request) {
    const auto& path = request.target;
    const auto missing = errorPage(options.dialect, 404, "File Not Found", "not_found_error");
    if (path == "/") return missing;
    if (options.isLoading)
        return errorPage(options.dialect, 503, "Loading model", "unavailable_error");
    if (request.method != "GET") return missing;
    if (path == "/health" || path == "/v1/health")
        return jsonPage(options.dialect, Json(Json::Object{{"status", Json("ok")}}));
    if (path == "/v1/models" || path == "/models")
        return jsonPage(options.dialect, llamaModels(options));
    if (path == "/props") return jsonPage(options.dialect, llamaProperties(options));
    return missing;
}

Json ollamaModel(const Options& options, const Options::Model& model, bool isRunning) {
    const char* family = model.isEmbedding ? "nomic-bert" : "llama";
    Json::Object entry{{"name", Json(model.id)}, {"model", Json(model.id)}};
    if (!isRunning) entry.push_back({"modified_at", Json("2025-10-01T09:00:00.000000000Z")});
    entry.push_back({"size", Json::integer(2019393189)});
    entry.push_back({"digest", Json(std::string(64, 'a'))});
    entry.push_back({"details",
        Json(Json::Object{{"parent_model", Json("")}, {"format", Json("gguf")},
            {"family", Json(family)}, {"families", texts({family})},
            {"parameter_size", Json("3.2B")}, {"quantization_level", Json("Q4_K_M")}})});
    if (isRunning) {
        entry.push_back({"expires_at", Json("2025-10-01T09:05:00.000000000Z")});
        entry.push_back({"size_vram", Json::integer(2019393189)});
        entry.push_back(
            {"context_length", Json::integer(static_cast<std::int64_t>(options.contextLength))});
    }
    return Json(std::move(entry));
}

Page ollamaInfo(const Options& options, const Request& request) {
    const auto& path = request.target;
    const bool isGet = request.method == "GET";
    if (path == "/" && isGet) return textPage(options.dialect, "Ollama is running");
    Json body;
    if (path == "/api/version") {
        body = Json(Json::Object{{"version", Json(options.isOld ? "0.4.7" : "0.12.6")}});
    } else if (path == "/v1/models") {
        const auto data = listed(options, [](const auto& model) {
            return Json(Json::Object{{"id", Json(model.id)}, {"object", Json("model")},
                {"created", Json::integer(created)}, {"owned_by", Json("library")}});
        });
        body = Json(Json::Object{
            {"object", Json("list")}, {"data", options.models.empty() ? Json() : data}});
    } else if (path == "/api/tags") {
        body = Json(Json::Object{{"models", listed(options, [&](const auto& model) {
                                      return ollamaModel(options, model, false);
                                  })}});
    } else if (path == "/api/ps") {
        Json::Array running;
        for (const auto& model : options.models)
            if (model.isLoaded && !options.isLoading)
                running.push_back(ollamaModel(options, model, true));
        body = Json(Json::Object{{"models", Json(std::move(running))}});
    } else if (path == "/v1/chat/completions" || path == "/") {
        return textPage(options.dialect, "405 method not allowed", 405);
    } else {
        return textPage(options.dialect, "404 page not found", 404);
    }
    if (!isGet) return textPage(options.dialect, "405 method not allowed", 405);
    return jsonPage(options.dialect, body);
}

Json lmStudioModel(const Options& options, const Options::Model& model) {
    const auto length = Json::integer(static_cast<std::int64_t>(options.contextLength));
    const bool isLoaded = model.isLoaded && !options.isLoading;
    Json::Object entry{{"id", Json(model.id)}, {"object", Json("model")},
        {"type", Json(model.isEmbedding ? "embeddings" : "llm")},
        {"publisher", Json("lmstudio-community")}, {"arch", Json("llama")},
        {"compatibility_type", Json("gguf")}, {"quantization", Json("Q4_K_M")},
        {"state", Json(isLoaded ? "loaded" : "not-loaded")}, {"max_context_length", length}};
    if (isLoaded) entry.push_back({"loaded_context_length", length});
    return Json(std::move(entry));
}

Page lmStudioInfo(const Options& options, const Request& request) {
    const auto& path = request.target;
    const bool isGet = request.method == "GET";
    if (isGet && path == "/v1/models") {
        const auto data = listed(options, [](const auto& model) {
            return Json(Json::Object{{"id", Json(model.id)}, {"object", Json("model")},
                {"owned_by", Json("organization_owner")}});
        });
        return jsonPage(
            options.dialect, Json(Json::Object{{"data", data}, {"object", Json("list")}}));
    }
    if (isGet && path == "/api/v0/models" && !options.isOld) {
        const auto data =
            listed(options, [&](const auto& model) { return lmStudioModel(options, model); });
        return jsonPage(
            options.dialect, Json(Json::Object{{"object", Json("list")}, {"data", data}}));
    }
    return errorPage(options.dialect, 200,
        "Unexpected endpoint or method. (" + request.method + " " + path + ")");
}

} // namespace

std::vector<TestHttpServer::Header> headers(
    Options::Dialect dialect, const std::string& contentType) {
    switch (dialect) {
    case Options::Dialect::llamaCpp:
        return {{"Server", "llama.cpp"}, {"Access-Control-Allow-Origin", ""},
            {"Content-Type", contentType}, {"Keep-Alive", "timeout=5, max=100"}};
    case Options::Dialect::ollama: return {{"Content-Type", contentType}};
    case Options::Dialect::lmStudio:
        return {{"X-Powered-By", "Express"}, {"Content-Type", contentType},
            {"Connection", "keep-alive"}, {"Keep-Alive", "timeout=5"}};
    }
    return {};
}

Page jsonPage(Options::Dialect dialect, const Json& body, int status) {
    const bool isOllama = dialect == Options::Dialect::ollama;
    Page page{.body = body.text() + (isOllama ? "\n" : ""),
        .status = status,
        .headers =
            headers(dialect, isOllama ? "application/json" : "application/json; charset=utf-8")};
    // llama.cpp closes after an error, and says so in place of how long it keeps the connection.
    if (dialect == Options::Dialect::llamaCpp && status >= 400)
        page.headers.back() = {"Connection", "close"};
    return page;
}

Json errorBody(Options::Dialect dialect, int status, const std::string& message,
    const std::string& type, const std::string& code) {
    Json error;
    switch (dialect) {
    case Options::Dialect::llamaCpp:
        error = Json(Json::Object{{"code", Json::integer(status)}, {"message", Json(message)},
            {"type", Json(type.empty() ? "invalid_request_error" : type)}});
        break;
    case Options::Dialect::ollama: {
        const char* kind = status == 400   ? "invalid_request_error"
                           : status == 404 ? "not_found_error"
                                           : "api_error";
        error = Json(Json::Object{
            {"message", Json(message)}, {"type", Json(kind)}, {"param", Json()}, {"code", Json()}});
        break;
    }
    case Options::Dialect::lmStudio:
        error = code.empty() ? Json(message)
                             : Json(Json::Object{{"message", Json(message)},
                                   {"type", Json(type.empty() ? "invalid_request_error" : type)},
                                   {"param", Json("model")}, {"code", Json(code)}});
        break;
    }
    return Json(Json::Object{{"error", error}});
}

Page errorPage(Options::Dialect dialect, int status, const std::string& message,
    const std::string& type, const std::string& code) {
    return jsonPage(dialect, errorBody(dialect, status, message, type, code), status);
}

Page tooLongPage(const Options& options, std::size_t tokens, bool isStreamed) {
    const auto asked = std::to_string(tokens);
    const auto most = std::to_string(options.contextLength);
    if (options.dialect != Options::Dialect::lmStudio) {
        auto body = errorBody(options.dialect, 400,
            "request (" + asked + " tokens) exceeds the available context size (" + most +
                " tokens), try increasing it",
            "exceed_context_size_error");
        auto* error = body.member("error");
        error->set("n_prompt_tokens", Json::integer(static_cast<std::int64_t>(tokens)));
        error->set("n_ctx", Json::integer(static_cast<std::int64_t>(options.contextLength)));
        return jsonPage(options.dialect, body, 400);
    }
    const auto body = errorBody(options.dialect, 400,
        "The number of tokens to keep from the initial prompt is greater than the context length "
        "(n_keep: " +
            asked + ">= n_ctx: " + most +
            "). Try to load the model with a larger context length, or provide a shorter input.");
    if (!isStreamed) return jsonPage(options.dialect, body, 400);
    return {.headers = headers(options.dialect, "text/event-stream"),
        .pieces = TestHttpServer::inPieces({"event: error\ndata: " + body.text() + "\n\n"})};
}

Page infoPage(const Options& options, const Request& request) {
    switch (options.dialect) {
    case Options::Dialect::llamaCpp: return llamaInfo(options, request);
    case Options::Dialect::ollama: return ollamaInfo(options, request);
    case Options::Dialect::lmStudio: return lmStudioInfo(options, request);
    }
    return {};
}

} // namespace nimbe::modelserver
