#include "NimbeEngine/Language/LanguageModel.h"

namespace nimbe {

std::string LanguageModel::Availability::message() const {
    const auto at = address.empty() ? std::string() : " at " + address;
    const auto who = server.empty() ? "The server" : server;
    switch (kind) {
    case Kind::unknown: return "No language model has been looked for yet.";
    case Kind::available: return model + " on " + (server.empty() ? address : server + at) + ".";
    case Kind::notAllowed:
        if (!model.empty())
            return model + " of " + (server.empty() ? address : server + at) +
                   " runs on another machine, and other machines are not allowed.";
        return "The address" + (address.empty() ? "" : " " + address) +
               " is not on this machine, and other machines are not allowed.";
    case Kind::noServer:
        return address.empty() ? "No language model server runs on this machine."
                               : "Nobody answers" + at + ".";
    case Kind::notAServer: return "What answers" + at + " is no language model server.";
    case Kind::noModel:
        return model.empty() ? who + at + " has no language model."
                             : who + at + " has no model named " + model + ".";
    case Kind::loading: return who + at + " is still loading the model.";
    case Kind::unresponsive: return who + at + " did not answer in time.";
    case Kind::refused: return who + at + " refuses to answer.";
    }
    return {};
}

} // namespace nimbe
