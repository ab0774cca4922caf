#include "NimbeSync/CloudDatabase.h"

namespace nimbe {

std::string_view CloudError::message() const {
    switch (kind) {
    case Kind::unreachable: return "The cloud can't be reached.";
    case Kind::refused: return "The cloud refused access.";
    case Kind::full: return "There is no room left in the cloud.";
    case Kind::failed: return "The cloud answered with an error.";
    }
    return {};
}

} // namespace nimbe
