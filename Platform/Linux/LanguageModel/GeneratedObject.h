#pragma once

#include <optional>

#include "Foundation/Json.h"
#include "NimbeEngine/Language/GeneratedType.h"

namespace nimbe {

/// Objects of a generated type, as JSON.
struct GeneratedObject {
    /// The JSON schema that its objects, and no others, fulfil.
    [[nodiscard]] static Json schema(const GeneratedType& type);

    /// The fields of the type alone, in its order; absent where one lacks, is of another
    /// kind, or holds a NUL character.
    [[nodiscard]] static std::optional<Json> of(const GeneratedType& type, const Json& json);

    /// Those of the fields that are there and of their kind.
    [[nodiscard]] static Json begunOf(const GeneratedType& type, const Json& json);

    /// The only field, when that is a text: an answer that is no object can be it.
    [[nodiscard]] static const GeneratedType::Field* onlyText(const GeneratedType& type);
};

} // namespace nimbe
