#include "Foundation/Json.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace nimbe {

Json::Json(Json&& other) noexcept : value(std::exchange(other.value, std::monostate{})) {}

Json& Json::operator=(Json&& other) noexcept {
    Json old(std::move(*this)); // may be an ancestor of `other`: dies last
    value = std::exchange(other.value, std::monostate{});
    return *this;
}

Json::Json(const Json& other) {
    std::vector<std::pair<const Json*, Json*>> pending{{&other, this}};
    while (!pending.empty()) {
        const auto [from, to] = pending.back();
        pending.pop_back();
        if (const auto* elements = from->asArray()) {
            auto& copies = to->value.emplace<Array>(elements->size());
            for (std::size_t i = 0; i < copies.size(); ++i)
                pending.emplace_back(&(*elements)[i], &copies[i]);
        } else if (const auto* members = from->asObject()) {
            auto& copies = to->value.emplace<Object>(members->size());
            for (std::size_t i = 0; i < copies.size(); ++i) {
                copies[i].key = (*members)[i].key;
                pending.emplace_back(&(*members)[i].value, &copies[i].value);
            }
        } else {
            to->value = from->value;
        }
    }
}

Json& Json::operator=(const Json& other) {
    Json copy(other);
    return *this = std::move(copy);
}

Json::~Json() {
    // Children are emptied one by one, so that no destructor meets a deep tree.
    std::vector<Json> pending;
    const auto takeChildren = [&pending](Json& parent) {
        if (auto* elements = std::get_if<Array>(&parent.value)) {
            for (auto& element : *elements)
                if (element.asArray() || element.asObject()) pending.push_back(std::move(element));
        } else if (auto* members = std::get_if<Object>(&parent.value)) {
            for (auto& [key, child] : *members)
                if (child.asArray() || child.asObject()) pending.push_back(std::move(child));
        }
    };
    takeChildren(*this);
    while (!pending.empty()) {
        Json last(std::move(pending.back()));
        pending.pop_back();
        takeChildren(last);
    }
}

Json Json::integer(std::int64_t number) {
    Json json;
    json.value = Number{std::to_string(number)};
    return json;
}

Json Json::number(double number) {
    Json json;
    if (!std::isfinite(number)) return json;
    std::array<char, 32> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
    json.value = Number{std::string(buffer.data(), end)};
    return json;
}

std::optional<bool> Json::asBool() const {
    const auto* boolean = std::get_if<bool>(&value);
    return boolean ? std::optional<bool>(*boolean) : std::nullopt;
}

std::optional<std::int64_t> Json::asInteger() const {
    const auto* number = asNumber();
    if (!number) return std::nullopt;
    std::int64_t result = 0;
    const char* end = number->text.data() + number->text.size();
    const auto [rest, error] = std::from_chars(number->text.data(), end, result);
    const bool whole = error == std::errc() && rest == end;
    return whole ? std::optional<std::int64_t>(result) : std::nullopt;
}

std::optional<double> Json::asDouble() const {
    const auto* number = asNumber();
    if (!number) return std::nullopt;
    double result = 0;
    const char* end = number->text.data() + number->text.size();
    const auto [rest, error] = std::from_chars(number->text.data(), end, result);
    const bool whole = error == std::errc() && rest == end;
    return whole ? std::optional<double>(result) : std::nullopt;
}

const Json* Json::member(std::string_view key) const {
    const auto* members = asObject();
    if (!members) return nullptr;
    for (auto at = members->rbegin(); at != members->rend(); ++at)
        if (at->key == key) return &at->value;
    return nullptr;
}

Json* Json::member(std::string_view key) {
    return const_cast<Json*>(std::as_const(*this).member(key));
}

void Json::set(std::string_view key, Json newValue) {
    if (auto* existing = member(key)) {
        *existing = std::move(newValue);
        return;
    }
    if (!asObject()) *this = Json(Object{});
    std::get<Object>(value).push_back({std::string(key), std::move(newValue)});
}

void Json::remove(std::string_view key) {
    if (auto* members = std::get_if<Object>(&value))
        std::erase_if(*members, [key](const Member& member) { return member.key == key; });
}

void Json::sortMembers() {
    const auto areInOrder = [](const Member& a, const Member& b) {
        return a.key < b.key;
    };
    const auto areSame = [](const Member& a, const Member& b) {
        return a.key == b.key;
    };
    std::vector<Json*> pending{this};
    while (!pending.empty()) {
        auto* const json = pending.back();
        pending.pop_back();
        if (auto* elements = json->asArray()) {
            for (auto& element : *elements) pending.push_back(&element);
        } else if (auto* members = std::get_if<Object>(&json->value)) {
            // Backwards, so that of equal keys the last one comes first and stays.
            std::reverse(members->begin(), members->end());
            std::stable_sort(members->begin(), members->end(), areInOrder);
            members->erase(std::unique(members->begin(), members->end(), areSame), members->end());
            for (auto& member : *members) pending.push_back(&member.value);
        }
    }
}

bool operator==(const Json& left, const Json& right) {
    std::vector<std::pair<const Json*, const Json*>> pending{{&left, &right}};
    while (!pending.empty()) {
        const auto [a, b] = pending.back();
        pending.pop_back();
        if (a->value.index() != b->value.index()) return false;
        if (const auto* elements = a->asArray()) {
            const auto& others = *b->asArray();
            if (elements->size() != others.size()) return false;
            for (std::size_t i = 0; i < others.size(); ++i)
                pending.emplace_back(&(*elements)[i], &others[i]);
        } else if (const auto* members = a->asObject()) {
            const auto& others = *b->asObject();
            if (members->size() != others.size()) return false;
            for (std::size_t i = 0; i < others.size(); ++i) {
                if ((*members)[i].key != others[i].key) return false;
                pending.emplace_back(&(*members)[i].value, &others[i].value);
            }
        } else if (a->asString()) {
            if (*a->asString() != *b->asString()) return false;
        } else if (a->asNumber()) {
            if (!(*a->asNumber() == *b->asNumber())) return false;
        } else if (a->asBool() != b->asBool()) {
            return false;
        }
    }
    return true;
}

} // namespace nimbe
