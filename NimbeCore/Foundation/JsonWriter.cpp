#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "Foundation/Json.h"

namespace nimbe {

/// Walks the tree with a stack of its own.
class JsonPrinter {
public:
    template <typename Writer>
    static void print(const Json& root, Writer& writer) {
        std::vector<Open> open;
        begin(root, writer, open);
        while (!open.empty()) {
            indent(writer, open.size());
            auto& [container, next] = open.back();
            if (const auto* elements = container->asArray()) {
                if (next < elements->size()) {
                    begin((*elements)[next++], writer, open);
                } else {
                    writer.EndArray();
                    open.pop_back();
                }
            } else {
                const auto& members = *container->asObject();
                if (next < members.size()) {
                    const auto& member = members[next++];
                    writer.Key(member.key.data(), size(member.key));
                    begin(member.value, writer, open);
                } else {
                    writer.EndObject();
                    open.pop_back();
                }
            }
        }
    }

private:
    struct Open {
        const Json* container;
        std::size_t next;
    };

    // The writer's own indentation is of the nesting times this.
    template <typename Output>
    static void indent(rapidjson::PrettyWriter<Output>& writer, std::size_t level) {
        constexpr std::size_t deepest = 100;
        writer.SetIndent(' ', level > deepest ? 0 : 2);
    }
    template <typename Output>
    static void indent(rapidjson::Writer<Output>& /*compact*/, std::size_t /*level*/) {}

    static rapidjson::SizeType size(const std::string& text) {
        return static_cast<rapidjson::SizeType>(text.size());
    }

    template <typename Writer>
    static void begin(const Json& json, Writer& writer, std::vector<Open>& open) {
        if (json.asArray()) {
            writer.StartArray();
            open.push_back({&json, 0});
        } else if (json.asObject()) {
            writer.StartObject();
            open.push_back({&json, 0});
        } else if (const auto* string = json.asString()) {
            writer.String(string->data(), size(*string));
        } else if (const auto* number = json.asNumber()) {
            writer.RawValue(number->text.data(), number->text.size(), rapidjson::kNumberType);
        } else if (const auto boolean = json.asBool()) {
            writer.Bool(*boolean);
        } else {
            writer.Null();
        }
    }
};

std::string Json::text(Layout layout) const {
    rapidjson::StringBuffer buffer;
    if (layout == Layout::pretty) {
        rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
        JsonPrinter::print(*this, writer);
    } else {
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        JsonPrinter::print(*this, writer);
    }
    return {buffer.GetString(), buffer.GetSize()};
}

} // namespace nimbe
