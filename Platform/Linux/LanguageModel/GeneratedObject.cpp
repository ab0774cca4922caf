#include "PlatformLanguageModel/GeneratedObject.h"

#include <algorithm>
#include <utility>

namespace nimbe {
namespace {

using Field = GeneratedType::Field;

/// No text of a desktop holds a NUL character.
bool isText(const Json& json) {
    const auto* text = json.asString();
    return text && text->find('\0') == std::string::npos;
}

bool isOfKind(const Json& json, Field::Kind kind) {
    if (kind == Field::Kind::text) return isText(json);
    const auto* elements = json.asArray();
    return elements && std::all_of(elements->begin(), elements->end(), isText);
}

Json schemaOf(const Field& field) {
    Json text;
    text.set("type", Json("string"));
    Json schema = text;
    if (field.kind == Field::Kind::texts) {
        schema = Json();
        schema.set("type", Json("array"));
        schema.set("items", std::move(text));
    }
    schema.set("description", Json(field.guide));
    return schema;
}

} // namespace

Json GeneratedObject::schema(const GeneratedType& type) {
    Json properties(Json::Object{});
    Json::Array names;
    for (const auto& field : type.fields) {
        properties.set(field.name, schemaOf(field));
        names.emplace_back(field.name);
    }
    Json schema;
    schema.set("type", Json("object"));
    schema.set("properties", std::move(properties));
    schema.set("required", Json(std::move(names)));
    schema.set("additionalProperties", Json(false));
    return schema;
}

std::optional<Json> GeneratedObject::of(const GeneratedType& type, const Json& json) {
    auto object = begunOf(type, json);
    if (object.asObject()->size() != type.fields.size()) return std::nullopt;
    return object;
}

Json GeneratedObject::begunOf(const GeneratedType& type, const Json& json) {
    Json object(Json::Object{});
    for (const auto& field : type.fields) {
        const auto* value = json.member(field.name);
        if (value && isOfKind(*value, field.kind)) object.set(field.name, *value);
    }
    return object;
}

const GeneratedType::Field* GeneratedObject::onlyText(const GeneratedType& type) {
    const bool isOne = type.fields.size() == 1 && type.fields[0].kind == Field::Kind::text;
    return isOne ? &type.fields[0] : nullptr;
}

} // namespace nimbe
