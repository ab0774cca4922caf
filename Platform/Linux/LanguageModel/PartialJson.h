#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Foundation/Json.h"

namespace nimbe {

/// The text of one JSON object that is still being written. Each addition costs as much as
/// it is long; what is there so far costs as much as all of it.
class PartialJson {
public:
    /// Returns how many of the bytes belong to the object: all until it is closed. What
    /// comes behind a fault is taken and ignored.
    std::size_t add(std::string_view bytes);

    /// What is there: open texts, lists and objects are closed, a text never within an
    /// escape or a character; a member without a value and a number or word that may go on
    /// are left out. Null before the object begins.
    [[nodiscard]] Json value() const;
    /// Bytes of the text that value() comes from: grows whenever the value does.
    [[nodiscard]] std::size_t usableBytes() const { return isInText() ? textEnd : usable; }

    [[nodiscard]] bool isWhole() const { return state == State::whole; }
    /// What came is no JSON object, nor the beginning of one.
    [[nodiscard]] bool isDamaged() const { return hasFault; }

private:
    enum class State {
        start,
        firstKey, // or the end of the object
        key,
        text, // a key or a value
        colon,
        firstElement, // or the end of the list
        value,
        number,
        word,
        afterValue,
        whole
    };

    std::string text;
    std::string open; // '{' and '['
    State state = State::start;
    bool hasFault = false;
    std::size_t usable = 0;  // up to here it is valid when what is open is closed
    std::size_t token = 0;   // where the number or word begins
    std::size_t textEnd = 0; // where the open text may be cut
    bool isKey = false;
    bool isEscape = false; // after a backslash
    int hexDigits = 0;     // still to come
    std::uint32_t unit = 0;
    bool isHighSurrogate = false; // the low one must follow
    int continuations = 0;        // bytes of a character, still to come
    unsigned char least = 0x80;   // bounds of the next of them
    unsigned char most = 0xBF;

    [[nodiscard]] bool isInText() const { return state == State::text && !isKey; }
    [[nodiscard]] bool take(char c, std::size_t at);
    [[nodiscard]] bool takeStart(char c, std::size_t at);
    [[nodiscard]] bool takeKey(char c, std::size_t at);
    [[nodiscard]] bool takeValue(char c, std::size_t at);
    [[nodiscard]] bool takeAfterValue(char c, std::size_t at);
    [[nodiscard]] bool takeNumber(char c, std::size_t at);
    [[nodiscard]] bool takeWord(char c, std::size_t at);
    [[nodiscard]] bool takeText(char c, std::size_t at);
    [[nodiscard]] bool takeEscape(char c, std::size_t at);
    [[nodiscard]] bool takeHexDigit(char c, std::size_t at);
    [[nodiscard]] bool beginCharacter(unsigned char lead);
    [[nodiscard]] bool close(char opening, std::size_t at);
    void beginText(std::size_t at, bool isOfKey);
    void beginContainer(char c, std::size_t at);
};

} // namespace nimbe
