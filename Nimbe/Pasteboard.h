#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Foundation/Task.h"
#include "Foundation/UserDefaults.h"

namespace nimbe {

/// What a pasteboard holds: the same thing in several forms. Empty: nothing is there.
struct PasteboardContents {
    struct Form {
        std::string type;     // as its owner calls it: a MIME type, or the platform's own name
        Bytes data;           // may be empty
        std::string encoding; // the platform's own word for the kind of data; empty: its usual one
        int unit = 8;         // bits of one element of the data

        friend bool operator==(const Form&, const Form&) = default;
    };
    std::vector<Form> forms;

    /// The two that keep a text out of the lists of clipboard managers: by the marker
    /// types of nspasteboard.org, and by the one that those of this platform honour.
    static constexpr const char* transientType = "org.nspasteboard.TransientType";
    static constexpr const char* concealedType = "org.nspasteboard.ConcealedType";
    static constexpr const char* passwordManagerHint = "x-kde-passwordManagerHint";

    /// A plain string under every name by which this platform's programs ask for one.
    [[nodiscard]] static PasteboardContents plainText(const std::string& text);
    /// The same, marked so that clipboard managers neither record nor show it.
    [[nodiscard]] static PasteboardContents concealedText(const std::string& text);

    friend bool operator==(const PasteboardContents&, const PasteboardContents&) = default;
};

/// The place from which programs paste. Main thread.
///
/// Everything begins with the call, in the order of the calls, whether or not the task
/// is awaited: dropping it takes nothing back.
///
/// What is written stays there as long as this program lives or until another program
/// writes. Serving it to others needs nothing of the main thread.
class Pasteboard {
public:
    /// Stands for one write by this program.
    using Change = long;

    virtual ~Pasteboard() = default;

    /// All that the present owner gives, byte for byte, within a second and 64 MiB;
    /// forms that it does not give are left out. Contents of this program come back at once.
    [[nodiscard]] virtual Task<PasteboardContents> snapshot() = 0;

    /// In place of whatever is there. Absent: it could not be taken over, within a second.
    [[nodiscard]] virtual Task<std::optional<Change>> write(PasteboardContents contents) = 0;

    /// The same, but only as long as `change` is the newest of all programs' writes;
    /// false: another program has written since and its contents stay. Empty contents
    /// leave an empty pasteboard.
    [[nodiscard]] virtual Task<bool> replace(Change change, PasteboardContents contents) = 0;

    /// How often another program has fetched text from that write: proof that a paste
    /// took place.
    [[nodiscard]] virtual int timesRead(Change change) const = 0;
};

} // namespace nimbe
