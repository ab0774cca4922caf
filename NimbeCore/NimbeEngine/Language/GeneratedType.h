#pragma once

#include <string>
#include <vector>

namespace nimbe {

/// A form of answer that a language model is made to give: an object with these fields,
/// all of them, and no others. The guides tell the model what belongs there.
struct GeneratedType {
    struct Field {
        enum class Kind { text, texts };
        std::string name;
        std::string guide;
        Kind kind = Kind::text;

        friend bool operator==(const Field&, const Field&) = default;
    };
    std::string name; // letters and digits
    std::vector<Field> fields;

    friend bool operator==(const GeneratedType&, const GeneratedType&) = default;
};

} // namespace nimbe
