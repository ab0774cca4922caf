#include "NimbeShell/SettingsCommand.h"

#include <ostream>

#include "Foundation/Json.h"
#include "Foundation/Text.h"
#include "NimbeShell/PublicSetting.h"

namespace nimbe {
namespace {

using Current = PublicSetting::Current;
using State = PublicSetting::State;
using Verb = SettingsOptions::Verb;

Json jsonOf(const UserDefaults::Value& value) {
    if (const auto* isOn = std::get_if<bool>(&value)) return Json(*isOn);
    if (const auto* text = std::get_if<std::string>(&value)) return Json(*text);
    Json::Array texts;
    for (const auto& text : std::get<std::vector<std::string>>(value)) texts.emplace_back(text);
    return Json(std::move(texts));
}

std::string_view nameOf(State state) {
    switch (state) {
    case State::standard: return "default";
    case State::stored: return "stored";
    case State::damaged: return "damaged";
    }
    return {};
}

Json jsonOf(const PublicSetting& setting, const Current& current) {
    Json::Object object;
    object.push_back({"key", Json(setting.key)});
    object.push_back({"type", Json(setting.typeName())});
    object.push_back({"value", jsonOf(current.value)});
    object.push_back({"default", jsonOf(setting.fallback)});
    object.push_back({"state", Json(nameOf(current.state))});
    object.push_back({"text", Json(setting.text)});
    return Json(std::move(object));
}

/// As a terminal may show it.
std::string lineOf(const PublicSetting& setting, const Current& current) {
    constexpr std::size_t most = 200; // characters
    const auto* isOn = std::get_if<bool>(&current.value);
    const auto value =
        isOn ? (*isOn ? "on" : "off") : text::onOneLine(jsonOf(current.value).text(), most);
    const std::string note = current.state == State::standard ? " (default)"
                             : current.state == State::damaged
                                 ? " (default: what is stored is damaged)"
                                 : "";
    return std::string(setting.key) + " = " + value + note + "\n";
}

/// As a script reads it.
void writeRaw(const UserDefaults::Value& value, std::ostream& output) {
    if (const auto* isOn = std::get_if<bool>(&value)) output << (*isOn ? "on\n" : "off\n");
    if (const auto* text = std::get_if<std::string>(&value)) output << *text << "\n";
    if (const auto* texts = std::get_if<std::vector<std::string>>(&value))
        for (const auto& text : *texts) output << text << "\n";
}

/// One run of a verb.
class SettingsCommand {
public:
    SettingsCommand(const SettingsOptions& options, UserDefaults& defaults, Streams streams)
        : options(options), defaults(defaults), streams(streams) {}

    [[nodiscard]] int run() {
        if (options.verb == Verb::list) return list();
        const auto* const setting = PublicSetting::named(options.key);
        if (!setting)
            return end(ExitCode::usage,
                "There is no setting \"" + options.key + "\". nimbe settings list shows all.");
        if (options.verb == Verb::set)
            if (const auto code = set(*setting); code != ExitCode::success) return code;
        if (options.verb == Verb::reset && !defaults.removeValue(setting->key))
            return end(ExitCode::failure, "The setting could not be reset.");
        return show(*setting);
    }

private:
    const SettingsOptions& options;
    UserDefaults& defaults;
    Streams streams;

    [[nodiscard]] int end(int code, const std::string& message) {
        streams.output.flush();
        streams.error << "nimbe settings: " << message << "\n";
        return code;
    }
    [[nodiscard]] int unreachable() {
        return end(ExitCode::failure, "The settings cannot be read just now.");
    }
    [[nodiscard]] int written() {
        if (streams.output.flush()) return ExitCode::success;
        return end(ExitCode::failure, "The output cannot be written.");
    }

    [[nodiscard]] int list() {
        Json::Array all;
        for (const auto& setting : PublicSetting::all()) {
            const auto current = setting.current(defaults);
            if (!current) return unreachable();
            if (options.isJson)
                all.push_back(jsonOf(setting, *current));
            else
                streams.output << lineOf(setting, *current) << "    " << setting.typeName() << ": "
                               << setting.text << "\n";
        }
        if (options.isJson)
            streams.output << Json(std::move(all)).text(Json::Layout::pretty) << "\n";
        return written();
    }

    [[nodiscard]] int set(const PublicSetting& setting) {
        auto value = setting.parse(options.values);
        if (!value) return end(ExitCode::usage, std::string(setting.key) + " " + value.error());
        if (defaults.setValue(setting.key, std::move(*value))) return ExitCode::success;
        return end(ExitCode::failure, "The setting could not be stored.");
    }

    [[nodiscard]] int show(const PublicSetting& setting) {
        const auto current = setting.current(defaults);
        if (!current) return unreachable();
        if (options.isJson)
            streams.output << jsonOf(setting, *current).text(Json::Layout::pretty) << "\n";
        else if (options.verb == Verb::get)
            writeRaw(current->value, streams.output);
        else
            streams.output << lineOf(setting, *current);
        if (current->state == State::damaged)
            streams.error << "nimbe settings: What is stored for " << setting.key
                          << " is damaged; its default counts.\n";
        return written();
    }
};

} // namespace

int runSettings(const SettingsOptions& options, UserDefaults& defaults, Streams streams) {
    return SettingsCommand(options, defaults, streams).run();
}

} // namespace nimbe
