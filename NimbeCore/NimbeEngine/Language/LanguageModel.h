#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Foundation/Json.h"
#include "Foundation/Published.h"
#include "Foundation/Task.h"
#include "NimbeEngine/Language/GeneratedType.h"
#include "NimbeEngine/Language/LanguageModelError.h"

namespace nimbe {

/// The language model that the user runs. Main thread; requests share nothing and may
/// overlap.
class LanguageModel {
public:
    /// What is known of it. Only `available` is a promise, and no older than some seconds:
    /// the server may be gone by the time it is asked.
    struct Availability {
        enum class Kind {
            unknown,      // not asked yet
            available,    //
            notAllowed,   // the server, or the model that it has, is on another machine
            noServer,     // nobody answers there
            notAServer,   // somebody does who serves no models
            noModel,      // the server has none, or not the one that is named
            loading,      // the model is not ready yet
            unresponsive, // it did not answer the last request in time
            refused       // the server answers with an error, 401 without a key for instance
        };
        Kind kind = Kind::unknown;
        std::string address = {};             // "http://127.0.0.1:11434"; empty: none was found
        std::string server = {};              // "Ollama"; empty: not known
        std::string model = {};               // that would be asked
        std::vector<std::string> models = {}; // that the server has, for text
        std::string detail = {};              // for the log

        [[nodiscard]] bool isAvailable() const { return kind == Kind::available; }
        /// For the user, one sentence: which model would be used, or why none.
        [[nodiscard]] std::string message() const;

        friend bool operator==(const Availability&, const Availability&) = default;
    };

    struct Request {
        std::string instructions;
        std::string prompt;
        GeneratedType type;
        Seconds deadline = 8;       // for the whole answer
        Seconds stallDeadline = 60; // the longest time without any byte
    };
    struct Response {
        /// An object with the fields of the request's type, each of its kind. Where the
        /// answer is not whole, fields may lack and the last one may end anywhere.
        Json content;
        /// False: the answer ended before the model had finished, because its output limit
        /// was reached or the connection broke off.
        bool isWhole = true;
    };
    /// Takes what there is of the answer so far, in the form of an unfinished response's
    /// content, each time more; not more often than a reader can see. False ends the
    /// request as stopped.
    using OnPartial = std::function<bool(const Json& content)>;

    virtual ~LanguageModel() = default;

    /// As last learned, at once. Observers are told on the main thread.
    [[nodiscard]] virtual Published<Availability>& availability() = 0;

    /// Asks anew in the background when what is known is more than some seconds old. A model
    /// that did not answer in time is given something to answer, none of the user's texts.
    virtual void refresh() = 0;

    /// Asks now and waits for the answer, some seconds at most.
    [[nodiscard]] virtual Task<Availability> check() = 0;

    /// Has the model loaded, with these instructions read, in the background and where that
    /// is not so already: whoever asks next waits less.
    virtual void prewarm(std::string instructions) = 0;

    /// Asks, whatever is known of the availability, though without a known server it looks
    /// for one first. Ends at the latest by the request's deadlines. With a receiver the
    /// answer is streamed. A response without streaming that is not whole is returned all
    /// the same.
    [[nodiscard]] virtual Task<Result<Response, LanguageModelError>> respond(
        Request request, OnPartial onPartial = {}) = 0;
};

} // namespace nimbe
