#include "PlatformStorage/StoredValue.h"

#include "Foundation/Json.h"

namespace nimbe {

struct StoredValue::Encoder {
    StoredValue& into;

    void operator()(bool boolean) const { keep(Kind::boolean, std::string(1, boolean ? 1 : 0)); }
    void operator()(const std::string& text) const {
        into.type = Kind::string;
        into.view = text;
    }
    void operator()(const Bytes& bytes) const {
        into.type = Kind::binary;
        into.view = {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
    void operator()(const std::vector<std::string>& texts) const {
        Json::Array elements;
        for (const auto& text : texts) elements.emplace_back(text);
        keep(Kind::stringArray, Json(std::move(elements)).text());
    }

private:
    void keep(Kind kind, std::string bytes) const {
        into.type = kind;
        into.own = std::move(bytes);
        into.view = into.own;
    }
};

StoredValue::StoredValue(const UserDefaults::Value& value) {
    std::visit(Encoder{*this}, value);
}

std::optional<UserDefaults::Value> StoredValue::decode(std::int64_t kind, std::string_view bytes) {
    switch (static_cast<Kind>(kind)) {
    case Kind::boolean:
        if (bytes.size() != 1 || (bytes[0] != 0 && bytes[0] != 1)) return std::nullopt;
        return UserDefaults::Value(bytes[0] == 1);
    case Kind::string: return UserDefaults::Value(std::string(bytes));
    case Kind::binary: return UserDefaults::Value(Bytes(bytes.begin(), bytes.end()));
    case Kind::stringArray: {
        const auto json = Json::parse(bytes);
        const auto* elements = json ? json->asArray() : nullptr;
        if (!elements) return std::nullopt;
        std::vector<std::string> texts;
        for (const auto& element : *elements) {
            if (!element.asString()) return std::nullopt;
            texts.push_back(*element.asString());
        }
        return UserDefaults::Value(std::move(texts));
    }
    }
    return std::nullopt;
}

} // namespace nimbe
