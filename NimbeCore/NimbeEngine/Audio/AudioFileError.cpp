#include "NimbeEngine/Audio/AudioFile.h"

namespace nimbe {

std::string AudioFileError::message() const {
    switch (kind) {
    case Kind::notFound: return "There is no such file.";
    case Kind::notReadable: return "The file cannot be read: " + detail + ".";
    case Kind::notAudio: return "This is not a recording that can be read (WAV, FLAC, Ogg, MP3).";
    case Kind::unusable: return "The recording has a sample rate or channels that cannot be used.";
    case Kind::notRecognised:
        return "The recording could not be recognised to its end; what was recognised is kept.";
    case Kind::damaged: break;
    }
    return "The recording is damaged; what comes before that place was read.";
}

} // namespace nimbe
