#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "Foundation/Result.h"
#include "Foundation/Task.h"
#include "Foundation/UserDefaults.h"
#include "NimbeEngine/Speech/SpeechModel.h"

namespace nimbe {

struct SpeechModelError {
    enum class Kind {
        noAddress, // nothing says where models come from
        badAddress,
        unreachable,  // no network, or no answer
        insecure,     // the server's certificate is not to be trusted
        brokenOff,    // the download ended early; the next one goes on from there
        notThere,     // the server does not have it
        refused,      // the server answers, and does not give it
        wrongContent, // lengths or digests are not those of the model
        damaged,      // the files are there and cannot be used
        noSpace,
        notWritable,
        busy,       // another process installs it just now
        isPackaged, // a part of the program: cannot be removed
        notInstalled,
        failed
    };
    Kind kind = Kind::failed;
    std::string detail = {}; // for the log
    std::string file = {};   // of the model, where one is to blame

    /// For the user.
    [[nodiscard]] std::string message() const;
};

/// Where models come from: the folders' parent on a web server. Empty: nowhere yet.
inline const Setting<std::string> speechModelBaseAddress{"speechModelBaseAddress", ""};

/// The speech models on this machine. Main thread; what takes long runs elsewhere.
class SpeechModels {
public:
    struct Place {
        std::filesystem::path folder;
        bool isPackaged = false; // came with the program
    };
    struct Progress {
        std::uint64_t done = 0; // bytes, with those of an earlier download that is gone on with
        std::uint64_t total = 0;
    };

    virtual ~SpeechModels() = default;

    /// Where its files are, all of them and of the right lengths. One that the user
    /// installed counts before the one that came with the program.
    [[nodiscard]] virtual std::optional<Place> installed(const SpeechModel& model) = 0;

    /// Bytes that an unfinished download has left to go on with.
    [[nodiscard]] virtual std::uint64_t downloaded(const SpeechModel& model) = 0;

    /// Does nothing when the user installed it already, nor without an address when it
    /// came with the program. Its files come from "ADDRESS/FOLDER/FILE";
    /// what an earlier attempt brought is gone on with. Afterwards the model is there
    /// whole or as before. Stopping the task keeps what has come.
    [[nodiscard]] virtual Task<Result<void, SpeechModelError>> install(const SpeechModel& model,
        std::string address, std::function<void(Progress)> onProgress) = 0;

    /// What the user installed, whole or not, with what an unfinished download left.
    [[nodiscard]] virtual Result<void, SpeechModelError> remove(const SpeechModel& model) = 0;

    /// Reads all its files and compares their digests.
    [[nodiscard]] virtual Task<Result<void, SpeechModelError>> verify(const SpeechModel& model) = 0;
};

} // namespace nimbe
