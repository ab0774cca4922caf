#include "NimbeKitCore/History/HistoryCodec.h"

#include <cmath>

#include "Foundation/Json.h"
#include "Foundation/Text.h"

namespace nimbe {
namespace {

std::optional<Json> encoded(const DictationEntry& entry) {
    if (!std::isfinite(entry.timestamp.sinceReference)) return std::nullopt;
    Json::Object object;
    object.push_back({"id", Json(entry.id.text())});
    object.push_back({"text", Json(text::mended(entry.text))});
    object.push_back({"timestamp", Json::number(entry.timestamp.sinceReference)});
    object.push_back({"mode", Json(rawValue(entry.mode))});
    if (entry.originalText)
        object.push_back({"originalText", Json(text::mended(*entry.originalText))});
    return Json(std::move(object));
}

std::optional<Json> encoded(const TrashedEntry& item) {
    auto entry = encoded(item.entry);
    if (!entry || !std::isfinite(item.deletedAt.sinceReference)) return std::nullopt;
    Json::Object object;
    object.push_back({"entry", std::move(*entry)});
    object.push_back({"deletedAt", Json::number(item.deletedAt.sinceReference)});
    object.push_back({"wasSynced", Json(item.wasSynced)});
    return Json(std::move(object));
}

std::optional<Date> decodedDate(const Json* json) {
    const auto seconds = json ? json->asDouble() : std::nullopt;
    if (!seconds || !std::isfinite(*seconds)) return std::nullopt;
    return Date{*seconds};
}

bool read(const Json& json, DictationEntry& entry) {
    const Json* id = json.member("id");
    const Json* text = json.member("text");
    const Json* mode = json.member("mode");
    const Json* original = json.member("originalText");
    const auto timestamp = decodedDate(json.member("timestamp"));
    if (!id || !id->asString() || !text || !text->asString() || !mode || !mode->asString())
        return false;
    const auto readId = UUID::parse(*id->asString());
    const auto readMode = dictationMode(*mode->asString());
    if (!readId || !readMode || !timestamp) return false;
    entry = {*readId, *text->asString(), *timestamp, *readMode};
    if (!original || original->isNull()) return true;
    if (original->asString()) entry.originalText = *original->asString();
    return entry.originalText.has_value();
}

bool read(const Json& json, TrashedEntry& item) {
    const Json* entry = json.member("entry");
    const Json* synced = json.member("wasSynced");
    const auto deletedAt = decodedDate(json.member("deletedAt"));
    if (!entry || !synced || !synced->asBool() || !deletedAt) return false;
    item.deletedAt = *deletedAt;
    item.wasSynced = *synced->asBool();
    return read(*entry, item.entry);
}

template <typename Record>
std::optional<std::vector<Record>> decodedList(std::string_view text) {
    const auto json = Json::parse(text);
    const auto* array = json ? json->asArray() : nullptr;
    if (!array) return std::nullopt;
    std::vector<Record> records(array->size());
    for (std::size_t i = 0; i < records.size(); ++i)
        if (!read((*array)[i], records[i])) return std::nullopt;
    return records;
}

} // namespace

namespace historyCodec {

std::optional<std::string> encode(const DictationEntry& entry) {
    const auto json = encoded(entry);
    return json ? std::optional(json->text()) : std::nullopt;
}

std::optional<std::string> encode(const TrashedEntry& item) {
    const auto json = encoded(item);
    return json ? std::optional(json->text()) : std::nullopt;
}

template <>
std::optional<std::vector<DictationEntry>> decode(std::string_view json) {
    return decodedList<DictationEntry>(json);
}

template <>
std::optional<std::vector<TrashedEntry>> decode(std::string_view json) {
    return decodedList<TrashedEntry>(json);
}

} // namespace historyCodec
} // namespace nimbe
