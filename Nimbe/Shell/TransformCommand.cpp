#include "NimbeShell/TransformCommand.h"

#include <algorithm>
#include <array>
#include <istream>
#include <ostream>

#include "Foundation/Json.h"
#include "Foundation/Text.h"
#include "NimbeEngine/Transform/NoteEditSession.h"
#include "NimbeShell/GrowingText.h"
#include "NimbeShell/HistoryID.h"
#include "NimbeShell/Input.h"
#include "NimbeShell/ShellServices.h"

namespace nimbe {
namespace {

constexpr const char* verb = "nimbe transform";
constexpr std::size_t largestText = std::size_t{4} << 20;
constexpr std::string_view asking = "Asking the model. Ctrl+C gives up.";

Task<void> wait(Completion<bool> ended, bool& isInterrupted) {
    isInterrupted = co_await ended;
}

/// One run of the verb.
class TransformCommand {
public:
    TransformCommand(const TransformOptions& options, ShellServices& shell, Streams streams)
        : options(options), shell(shell), streams(streams) {}

    [[nodiscard]] int run() {
        auto transform = options.what.transform();
        if (!transform) return fail(transform.error(), ExitCode::usage);
        if (options.id && !HistoryID::prefix(*options.id))
            return fail(HistoryID::refusal(*options.id), ExitCode::usage);
        if (options.id ? !readNote(*options.id) : !readInput()) return ExitCode::failure;
        if (text::trimmed(source).empty()) return keep("There is no text to transform.");
        language = shell.language(streams.error);
        if (!language) return keep("Kept your text.");
        return finish(reshape(std::move(*transform)));
    }

private:
    const TransformOptions& options;
    ShellServices& shell;
    Streams streams;
    const HistoryServices* history = nullptr;
    const LanguageServices* language = nullptr;
    std::optional<UUID> note;
    std::string bytes;  // as they came
    std::string source; // the text of them

    struct Reshaped {
        std::shared_ptr<NoteEditSession> session;
        bool isInterrupted = false;
        bool isShown = false; // as far as it came, on the terminal
    };

    int fail(std::string_view message, int code = ExitCode::failure) {
        streams.output.flush();
        streams.error << verb << ": " << message << "\n";
        return code;
    }

    [[nodiscard]] bool readInput() {
        if (!readBytes(streams.input, largestText, verb, streams.error, bytes)) {
            passOn();
            return false;
        }
        source = textOf(bytes, verb, streams.error);
        return true;
    }

    /// The rest of an input that is too long.
    void passOn() {
        if (options.isJson) return;
        streams.output << bytes;
        std::array<char, 65536> buffer{};
        while (streams.output &&
               (streams.input.read(buffer.data(), buffer.size()) || streams.input.gcount() > 0))
            streams.output.write(buffer.data(), streams.input.gcount());
        streams.output.flush();
    }

    [[nodiscard]] bool readNote(const std::string& id) {
        history = shell.history(streams.error);
        if (!history) return false;
        const auto entries = history->history.feed().entries();
        if (hasProblem()) return false;
        const auto found = HistoryID::find(entries, id);
        if (!found) {
            (void)fail(found.error());
            return false;
        }
        note = (*found)->id;
        source = (*found)->text;
        bytes = source + "\n";
        return true;
    }

    [[nodiscard]] bool hasProblem() {
        const auto problem = history->history.problem();
        if (problem) sayProblem(*problem, verb, streams.error);
        return problem && problem->kind != HistoryProblem::Kind::syncedUnreadable;
    }

    [[nodiscard]] Reshaped reshape(NoteTransform transform) {
        auto& loop = language->loop;
        auto session = NoteEditSession::create(loop, language->transforms, source);
        GrowingText growing(streams.output, language->outputColumns);
        StatusLine status(streams.error, language->errorColumns);
        const bool isOnTerminal = language->outputColumns > 0 && !options.isJson;
        const Completion<bool> ended(loop);
        const auto text = session->_text.observe([&](const std::string& now) {
            // The text before is back after a failure, and there before anything came.
            if (now == source || text::trimmed(now).empty()) return;
            if (!isOnTerminal) return status.show(now);
            status.clear();
            growing.show(now);
        });
        const auto running = session->_isTransforming.observe([&](bool isTransforming) {
            if (!isTransforming) ended.complete(false);
        });
        const auto interrupt = language->onInterrupt([&] { ended.complete(true); });
        status.show(asking);
        bool isInterrupted = false;
        if (session->start(std::move(transform))) loop.runUntilDone(wait(ended, isInterrupted));
        if (isInterrupted) session->cancel();
        status.clear();
        const auto& notice = session->_notice.get();
        const bool isKept = isInterrupted || (notice && *notice != NoteEditSession::stoppedEarly);
        if (isOnTerminal && isKept) growing.abandon();
        if (isOnTerminal && !isKept) growing.finish(session->_text.get());
        return {session, isInterrupted, isOnTerminal};
    }

    [[nodiscard]] int finish(const Reshaped& reshaped) {
        if (reshaped.isInterrupted)
            return keep("Interrupted. Kept your text.", ExitCode::interrupted);
        const auto& session = *reshaped.session;
        const auto& notice = session._notice.get();
        if (notice && *notice != NoteEditSession::stoppedEarly)
            return keep(*notice + reason(session.error()));
        const auto& text = session._text.get();
        // First the note: where the output cannot be written, it is safe.
        const bool isSaved = notice || !note || save(text);
        if (options.isJson)
            writeJson(text, notice);
        else if (!reshaped.isShown)
            streams.output << text << (text.ends_with('\n') ? "" : "\n");
        const bool isWritten = !streams.output.flush().fail();
        if (notice) (void)fail(*notice + (note ? " The note is as it was." : ""));
        if (!isWritten) (void)fail("The output cannot be written.");
        return !notice && isSaved && isWritten ? ExitCode::success : ExitCode::failure;
    }

    [[nodiscard]] std::string reason(const std::optional<LanguageModelError>& error) {
        using Kind = LanguageModel::Availability::Kind;
        if (!error) return {};
        const std::string message(error->message());
        if (error->kind != LanguageModelError::Kind::unavailable) return " " + message;
        const auto& known = language->model.availability().get();
        const bool isKnown = known.kind != Kind::unknown && known.kind != Kind::available;
        return " " + (isKnown ? known.message() : message) + " nimbe model status tells more.";
    }

    /// False, with the reason: the note is as it was, or as somebody changed it meanwhile.
    [[nodiscard]] bool save(const std::string& text) {
        auto& notes = history->history;
        const auto now = notes.entry(*note);
        bool isSaved = !hasProblem();
        if (isSaved && !now) {
            (void)fail("The note was deleted meanwhile.");
            isSaved = false;
        } else if (isSaved && now->text != source) {
            (void)fail("The note was changed meanwhile; that change stays.");
            isSaved = false;
        } else if (isSaved) {
            notes.update(*note, text);
            isSaved = !hasProblem();
        }
        if (!isSaved) (void)fail("The new text was not saved.");
        return isSaved;
    }

    void writeJson(const std::string& text, const std::optional<std::string>& notice) {
        Json::Object object;
        object.push_back({"text", Json(text)});
        object.push_back({"isWhole", Json(!notice)});
        object.push_back({"notice", notice ? Json(*notice) : Json()});
        streams.output << Json(std::move(object)).text() << "\n";
    }

    /// Gives back what came, but to a terminal, where it is to be seen already.
    [[nodiscard]] int keep(const std::string& message, int code = ExitCode::failure) {
        if (options.isJson)
            writeJson(source, message);
        else if (!language || language->outputColumns == 0)
            streams.output << bytes;
        if (!streams.output.flush()) (void)fail("The output cannot be written.");
        return fail(message, code);
    }
};

} // namespace

int runTransform(const TransformOptions& options, ShellServices& shell, Streams streams) {
    return TransformCommand(options, shell, streams).run();
}

} // namespace nimbe
