#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include "Foundation/Json.h"
#include "Foundation/Utf8.h"

namespace nimbe {
namespace {

/// The text as the reader sees it: every number stands as a single 0, and its
/// own text is kept aside. The reader alone would refuse numbers beyond a
/// double, 1e400 or an integer of 400 digits, even when it passes them on as
/// text.
class NumbersAside {
public:
    using Ch = char; // the names are the ones that the reader uses

    explicit NumbersAside(std::string_view text) : text(text) { takeNumber(); }

    [[nodiscard]] char Peek() const {
        if (at == text.size()) return '\0';
        return numberEnd > at ? '0' : text[at];
    }
    char Take() {
        const char c = Peek();
        if (numberEnd > at) {
            at = numberEnd;
        } else {
            if (c == '"' && !isEscaped) isInString = !isInString;
            isEscaped = isInString && c == '\\' && !isEscaped;
            if (at < text.size()) ++at;
        }
        takeNumber();
        return c;
    }
    [[nodiscard]] std::size_t Tell() const { return at; }
    // For readers that decode strings in place: never called.
    char* PutBegin() { return nullptr; }
    void Put(char /*c*/) {}
    std::size_t PutEnd(const char* /*begin*/) { return 0; }

    /// The texts of the numbers so far.
    std::vector<std::string_view> numbers;

private:
    std::string_view text;
    std::size_t at = 0;
    std::size_t numberEnd = 0;
    bool isInString = false;
    bool isEscaped = false; // the character at `at`

    [[nodiscard]] std::size_t digitsEnd(std::size_t from) const {
        while (from < text.size() && text[from] >= '0' && text[from] <= '9') ++from;
        return from;
    }
    [[nodiscard]] bool isAt(std::size_t place, std::string_view any) const {
        return place < text.size() && any.find(text[place]) != any.npos;
    }

    /// Finds the longest number that begins here; what is wrong behind it is for
    /// the reader to see.
    void takeNumber() {
        if (isInString || !isAt(at, "-0123456789")) return;
        const std::size_t first = at + (text[at] == '-' ? 1 : 0);
        std::size_t end = isAt(first, "0") ? first + 1 : digitsEnd(first);
        if (end == first) return;
        if (isAt(end, ".") && digitsEnd(end + 1) > end + 1) end = digitsEnd(end + 1);
        if (isAt(end, "eE")) {
            const std::size_t exponent = end + (isAt(end + 1, "+-") ? 2 : 1);
            if (digitsEnd(exponent) > exponent) end = digitsEnd(exponent);
        }
        numberEnd = end;
        numbers.push_back(text.substr(at, end - at));
    }
};

} // namespace

/// Builds the tree from the reader's events; the open containers form a stack.
class JsonBuilder {
public:
    explicit JsonBuilder(const NumbersAside& source) : source(source) {}

    // The names are the ones that the reader calls.
    bool Null() { return add(Json()); }
    bool Bool(bool boolean) { return add(Json(boolean)); }
    bool Uint(unsigned /*zero*/) {
        Json number;
        number.value = Json::Number{std::string(source.numbers[numberCount++])};
        return add(std::move(number));
    }
    bool String(const char* text, rapidjson::SizeType length, bool /*copy*/) {
        return isText({text, length}) && add(Json(std::string(text, length)));
    }
    bool StartObject() { return open(Json(Json::Object{})); }
    bool StartArray() { return open(Json(Json::Array{})); }
    bool Key(const char* text, rapidjson::SizeType length, bool /*copy*/) {
        if (!isText({text, length})) return false;
        std::get<Json::Object>(containers.back().value).push_back({std::string(text, length), {}});
        return true;
    }
    bool EndObject(rapidjson::SizeType /*count*/) { return close(); }
    bool EndArray(rapidjson::SizeType /*count*/) { return close(); }

    // Every number reads as 0.
    bool RawNumber(const char*, rapidjson::SizeType, bool) { return false; }
    bool Int(int) { return false; }
    bool Int64(std::int64_t) { return false; }
    bool Uint64(std::uint64_t) { return false; }
    bool Double(double) { return false; }

    Json root;

private:
    const NumbersAside& source;
    std::size_t numberCount = 0;
    std::vector<Json> containers;

    /// The reader lets an escaped low surrogate pass alone. All surrogates, and
    /// few other characters, begin with this byte.
    static bool isText(std::string_view text) {
        return text.find('\xED') == text.npos || text::isValidUtf8(text);
    }

    bool add(Json value) {
        if (containers.empty()) {
            root = std::move(value);
        } else if (auto* elements = containers.back().asArray()) {
            elements->push_back(std::move(value));
        } else {
            std::get<Json::Object>(containers.back().value).back().value = std::move(value);
        }
        return true;
    }

    bool open(Json container) {
        containers.push_back(std::move(container));
        return true;
    }

    bool close() {
        Json finished = std::move(containers.back());
        containers.pop_back();
        return add(std::move(finished));
    }
};

Result<Json, JsonError> Json::parse(std::string_view text) {
    // The reader takes a NUL byte for the end and would ignore what follows it.
    if (const auto nul = text.find('\0'); nul != text.npos)
        return failure(JsonError{nul, "NUL byte"});
    if (!text::isValidUtf8(text)) return failure(JsonError{0, "not UTF-8"});

    NumbersAside stream(text);
    rapidjson::Reader reader;
    JsonBuilder builder(stream);
    const auto result = reader.Parse<rapidjson::kParseIterativeFlag>(stream, builder);
    if (result.IsError())
        return failure(JsonError{result.Offset(), rapidjson::GetParseError_En(result.Code())});
    return std::move(builder.root);
}

} // namespace nimbe
