#include "NimbeShell/HistoryText.h"

#include <ostream>

#include "Foundation/ISO8601.h"
#include "Foundation/Json.h"
#include "Foundation/Text.h"
#include "NimbeKitCore/History/NotesDayGrouping.h"

namespace nimbe {
namespace {

constexpr std::size_t idLength = 8;    // as in the names of exported files
constexpr std::size_t timeLength = 9;  // "Yesterday", "12:59 PM", "Mar 31"
constexpr std::size_t modeLength = 9;  // "messaging"
constexpr std::size_t textLength = 60; // characters: with the rest a line of 90

Json encoded(const DictationEntry& entry) {
    Json::Object object;
    object.push_back({"id", Json(entry.id.text())});
    object.push_back({"text", Json(entry.text)});
    object.push_back({"timestamp", Json(iso8601::format(entry.timestamp))});
    object.push_back({"mode", Json(rawValue(entry.mode))});
    if (entry.originalText) object.push_back({"originalText", Json(*entry.originalText)});
    return Json(std::move(object));
}

Json encoded(const TrashedEntry& item) {
    Json json = encoded(item.entry);
    json.set("deletedAt", Json(iso8601::format(item.deletedAt)));
    json.set("wasSynced", Json(item.wasSynced));
    return json;
}

template <typename Record>
std::string encodedList(const std::vector<Record>& records) {
    Json::Array array;
    for (const auto& record : records) array.push_back(encoded(record));
    return Json(std::move(array)).text(Json::Layout::pretty);
}

void writeRow(std::ostream& output, const DictationEntry& entry, const std::string& time) {
    output << entry.id.text().substr(0, idLength) << "  " << text::padded(time, timeLength) << "  "
           << text::padded(std::string(rawValue(entry.mode)), modeLength) << "  "
           << text::onOneLine(entry.text, textLength) << "\n";
}

/// The time today, else the day; with its year when that is another one.
std::string dayOrTime(Date date, Date now, const Calendar& calendar) {
    if (calendar.isSameDay(date, now)) return calendar.format(date, Calendar::Style::shortTime);
    return NotesDayGrouping::title(date, now, calendar);
}

} // namespace

namespace historyText {

std::string json(const DictationEntry& entry) {
    return encoded(entry).text(Json::Layout::pretty);
}

std::string json(const std::vector<DictationEntry>& entries) {
    return encodedList(entries);
}

std::string json(const std::vector<TrashedEntry>& items) {
    return encodedList(items);
}

void writeSections(std::ostream& output, const std::vector<DictationEntry>& entries, Date now,
    const Calendar& calendar) {
    const char* gap = "";
    for (const auto& section : NotesDayGrouping::sections(entries, now, calendar)) {
        output << gap << section.title << "\n";
        gap = "\n";
        for (const auto& entry : section.entries) {
            output << "  ";
            writeRow(output, entry, calendar.format(entry.timestamp, Calendar::Style::shortTime));
        }
    }
}

void writeRows(std::ostream& output, const std::vector<DictationEntry>& entries, Date now,
    const Calendar& calendar) {
    for (const auto& entry : entries)
        writeRow(output, entry, dayOrTime(entry.timestamp, now, calendar));
}

void writeRows(std::ostream& output, const std::vector<TrashedEntry>& items, Date now,
    const Calendar& calendar) {
    for (const auto& item : items)
        writeRow(output, item.entry, "deleted " + dayOrTime(item.deletedAt, now, calendar));
}

} // namespace historyText
} // namespace nimbe
