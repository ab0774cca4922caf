#include "PlatformLanguageModel/ModelList.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace nimbe {
namespace {

const Json::Array* elements(const Json& json, std::string_view name) {
    const auto* member = json.member(name);
    return member ? member->asArray() : nullptr;
}

std::string_view text(const Json& json, std::string_view name) {
    const auto* member = json.member(name);
    const auto* value = member ? member->asString() : nullptr;
    return value ? *value : std::string_view();
}

/// By its name, where nothing else tells.
bool isNamedForEmbedding(std::string_view name) {
    return name.find("embed") != name.npos;
}

/// Ollama's newer versions tell what a model can do, the others its family.
bool isForEmbedding(const Json& tag) {
    if (const auto* abilities = elements(tag, "capabilities"))
        return std::none_of(abilities->begin(), abilities->end(),
            [](const Json& ability) { return ability == Json("completion"); });
    const auto* details = tag.member("details");
    const auto family = details ? text(*details, "family") : std::string_view();
    return family.find("bert") != family.npos || isNamedForEmbedding(text(tag, "name"));
}

/// Ollama's models of its maker's servers: what they are asked leaves the machine.
bool isElsewhere(const Json& tag, std::string_view name) {
    return !text(tag, "remote_host").empty() || !text(tag, "remote_model").empty() ||
           name.ends_with(":cloud") || name.ends_with("-cloud");
}

/// llama.cpp with several models tells the state of each.
bool isLoaded(const Json& entry) {
    const auto* status = entry.member("status");
    return status && text(*status, "value") == "loaded";
}

} // namespace

std::optional<ModelList> ModelList::ofOpenAI(const Json& json) {
    const auto* data = json.member("data");
    if (!data || json.member("error")) return std::nullopt;
    // Ollama without a model has no list.
    if (data->isNull() && text(json, "object") == "list") return ModelList();
    const auto* list = data->asArray();
    if (!list) return std::nullopt;
    ModelList models;
    for (const auto& entry : *list) {
        const auto id = text(entry, "id");
        if (id.empty()) return std::nullopt;
        if (!id.starts_with("text-embedding-"))
            models.entries.push_back({std::string(id), isLoaded(entry), isElsewhere(entry, id)});
    }
    return models;
}

std::optional<ModelList> ModelList::ofOllama(const Json& tags, const Json& loaded) {
    const auto* list = elements(tags, "models");
    if (!list) return std::nullopt;
    ModelList models;
    for (const auto& tag : *list)
        if (!text(tag, "name").empty() && !isForEmbedding(tag))
            models.entries.push_back(
                {std::string(text(tag, "name")), false, isElsewhere(tag, text(tag, "name"))});
    const auto* running = elements(loaded, "models");
    if (!running) return models;
    for (const auto& one : *running)
        for (auto& entry : models.entries)
            entry.isLoaded = entry.isLoaded || entry.name == text(one, "name");
    return models;
}

std::optional<ModelList> ModelList::ofLMStudio(const Json& json) {
    const auto* list = elements(json, "data");
    if (!list || json.member("error")) return std::nullopt;
    ModelList models;
    for (const auto& entry : *list) {
        const auto type = text(entry, "type");
        if (type == "llm" || type == "vlm")
            models.entries.push_back(
                {std::string(text(entry, "id")), text(entry, "state") == "loaded"});
    }
    return models;
}

ModelList ModelList::hereOnly() const {
    ModelList here;
    std::copy_if(entries.begin(), entries.end(), std::back_inserter(here.entries),
        [](const Entry& entry) { return !entry.isElsewhere; });
    return here;
}

std::vector<std::string> ModelList::names() const {
    std::vector<std::string> names;
    for (const auto& entry : entries) names.push_back(entry.name);
    return names;
}

std::string ModelList::choose(const std::string& name) const {
    const auto first = [&](auto fits) {
        const auto found = std::find_if(entries.begin(), entries.end(), fits);
        return found == entries.end() ? std::string() : found->name;
    };
    const auto orElse = [](const std::string& chosen, const std::string& other) {
        return chosen.empty() ? other : chosen;
    };
    if (name.empty())
        return orElse(first([](const Entry& entry) { return entry.isLoaded; }),
            first([](const Entry&) { return true; }));
    return orElse(first([&](const Entry& entry) { return entry.name == name; }),
        first([&](const Entry& entry) { return entry.name == name + ":latest"; }));
}

} // namespace nimbe
