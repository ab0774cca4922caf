#include "NimbeUI/LanguageModelViewModel.h"

#include <algorithm>

#include "Foundation/ServiceAddress.h"
#include "NimbeApp/AppSettings.h"
#include "NimbeEngine/Cleanup/MacCleanupPolicy.h"
#include "NimbeEngine/Language/LanguageModelSettings.h"
#include "NimbeEngine/Transform/OnDeviceTransformer.h"
#include "NimbeUI/QtText.h"

namespace nimbe {
namespace {

using Settings = LanguageModelSettings;

DictationMode modeIn(UserDefaults& defaults) {
    return dictationMode(defaults.get(AppSettings::dictationMode))
        .value_or(DictationMode::messaging);
}

/// Many write "localhost:11434".
std::string withScheme(std::string address) {
    return address.find("://") == address.npos ? "http://" + address : address;
}

} // namespace

LanguageModelViewModel::LanguageModelViewModel(DesktopActions& given) : actions(given) {
    connect(&actions, &DesktopActions::changed, this, &LanguageModelViewModel::changed);
    availability =
        actions.all().model.availability().observe([this](const auto&) { emit changed(); });
}

void LanguageModelViewModel::setWatched(bool isWanted) {
    if (isWanted == isWatched()) return;
    watching.reset();
    wrongAddress.clear();
    if (isWanted) look();
    emit changed();
}

void LanguageModelViewModel::look() {
    actions.all().model.refresh();
    watching = actions.all().actor.schedule(interval, [this] { look(); });
}

bool LanguageModelViewModel::isAvailable() const {
    return actions.all().model.availability().get().isAvailable();
}

QString LanguageModelViewModel::status() const {
    const auto& known = actions.all().model.availability().get();
    if (known.kind == LanguageModel::Availability::Kind::unknown)
        return tr("Looking for a language model…");
    return qtText(known.message());
}

void LanguageModelViewModel::store(bool isStored) {
    failure = isStored ? QString() : tr("This setting could not be stored.");
    actions.all().model.refresh();
    actions.settingsChanged();
    emit changed();
}

bool LanguageModelViewModel::isCleanupOn() const {
    return actions.all().defaults.get(MacCleanupPolicy::aiCleanupEnabled);
}

void LanguageModelViewModel::setCleanupOn(bool isOn) {
    store(actions.all().defaults.set(MacCleanupPolicy::aiCleanupEnabled, isOn));
}

QStringList LanguageModelViewModel::styles() {
    QStringList titles;
    for (const auto mode : allDictationModes) {
        switch (mode) {
        case DictationMode::messaging: titles.append(tr("Messages")); break;
        case DictationMode::email: titles.append(tr("Email")); break;
        case DictationMode::notes: titles.append(tr("Notes")); break;
        case DictationMode::coding: titles.append(tr("Code")); break;
        }
    }
    return titles;
}

int LanguageModelViewModel::style() const {
    const auto found = std::find(
        allDictationModes.begin(), allDictationModes.end(), modeIn(actions.all().defaults));
    return static_cast<int>(found - allDictationModes.begin());
}

void LanguageModelViewModel::setStyle(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= allDictationModes.size()) return;
    const auto mode = allDictationModes[static_cast<std::size_t>(index)];
    store(actions.all().defaults.set(AppSettings::dictationMode, std::string(rawValue(mode))));
}

QString LanguageModelViewModel::styleNote() const {
    switch (modeIn(actions.all().defaults)) {
    case DictationMode::messaging: return tr("Casual, as one talks.");
    case DictationMode::email: return tr("Clear and professional, in complete sentences.");
    case DictationMode::notes: return tr("Concise, in fragments and lines where that is enough.");
    case DictationMode::coding: return tr("Left exactly as it was heard.");
    }
    return {};
}

/// The first stands for none.
std::vector<std::string> LanguageModelViewModel::names() const {
    auto list = actions.all().model.availability().get().models;
    const auto chosen = actions.all().defaults.get(Settings::name);
    if (!chosen.empty() && std::find(list.begin(), list.end(), chosen) == list.end())
        list.push_back(chosen);
    list.insert(list.begin(), std::string());
    return list;
}

QStringList LanguageModelViewModel::models() const {
    QStringList titles;
    for (const auto& name : names()) titles.append(name.empty() ? tr("Automatic") : qtText(name));
    return titles;
}

int LanguageModelViewModel::model() const {
    const auto list = names();
    const auto found =
        std::find(list.begin(), list.end(), actions.all().defaults.get(Settings::name));
    return static_cast<int>(found - list.begin());
}

void LanguageModelViewModel::setModel(int index) {
    const auto list = names();
    if (index < 0 || static_cast<std::size_t>(index) >= list.size()) return;
    auto& defaults = actions.all().defaults;
    const auto& chosen = list[static_cast<std::size_t>(index)];
    store(chosen.empty() ? defaults.remove(Settings::name) : defaults.set(Settings::name, chosen));
}

QString LanguageModelViewModel::address() const {
    return qtText(actions.all().defaults.get(Settings::address));
}

void LanguageModelViewModel::enterAddress(const QString& text) {
    auto& defaults = actions.all().defaults;
    wrongAddress.clear();
    const auto entered = utf8(text.trimmed());
    if (entered.empty()) return store(defaults.remove(Settings::address));
    const auto wanted = withScheme(entered);
    using enum ServiceAddress::Hosts;
    if (!ServiceAddress::parse(wanted, any))
        wrongAddress = tr("Not stored: that is no address such as http://127.0.0.1:11434.");
    else if (!allowsOtherHosts() && !ServiceAddress::parse(wanted, thisMachine))
        wrongAddress = tr("Not stored: that server is on another machine. Allow that first.");
    else
        return store(defaults.set(Settings::address, wanted));
    emit changed();
}

bool LanguageModelViewModel::allowsOtherHosts() const {
    return actions.all().defaults.get(Settings::allowsOtherHosts);
}

void LanguageModelViewModel::setAllowsOtherHosts(bool isAllowed) {
    wrongAddress.clear();
    store(actions.all().defaults.set(Settings::allowsOtherHosts, isAllowed));
}

QString LanguageModelViewModel::signature() const {
    return qtText(actions.all().defaults.get(OnDeviceTransformer::emailSignatureName));
}

void LanguageModelViewModel::enterSignature(const QString& text) {
    const auto name = utf8(text.simplified());
    if (name == utf8(signature())) return;
    store(actions.all().defaults.set(OnDeviceTransformer::emailSignatureName, name));
}

} // namespace nimbe
