#include "NimbeEngine/Speech/SpeechModels.h"

namespace nimbe {

std::string SpeechModelError::message() const {
    switch (kind) {
    case Kind::noAddress: return "No address is set to download speech models from.";
    case Kind::badAddress: return "The address to download speech models from is not valid.";
    case Kind::unreachable:
        return "The server for speech models cannot be reached. Check your connection and try "
               "again.";
    case Kind::insecure:
        return "The server for speech models cannot be trusted: its certificate is not valid.";
    case Kind::brokenOff: return "The download broke off. Try again: it goes on where it ended.";
    case Kind::notThere: return "The server does not have this speech model.";
    case Kind::refused:
        return "The server does not give the speech model just now. Try again later.";
    case Kind::wrongContent: return "A file of the speech model is not what it should be.";
    case Kind::damaged:
        return "The speech model cannot be used. Check it with: nimbe models verify";
    case Kind::noSpace: return "There is not enough space on the disk for the speech model.";
    case Kind::notWritable: return "The folder for speech models cannot be written.";
    case Kind::busy: return "Another process is working on this speech model just now.";
    case Kind::isPackaged: return "This speech model is a part of Nimbe and cannot be removed.";
    case Kind::notInstalled: return "This speech model is not installed.";
    case Kind::failed: break;
    }
    return "The speech model could not be handled.";
}

} // namespace nimbe
