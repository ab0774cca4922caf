#pragma once

#include <string>

#include "Support/TestModelServerOptions.h"

namespace nimbe {

/// What a plain and obedient model writes, always the same for the same question: the
/// prompt with a capital at its beginning and a full stop at its end; the first half of
/// its sentences where the instructions ask for half the length; its sentences where a
/// list is asked for. A recipient's name is empty.
[[nodiscard]] std::string testModelWrites(const TestModelServerOptions::Question& question);

/// Likewise, with what is wrong about the content.
[[nodiscard]] std::string testModelWrites(const TestModelServerOptions::Question& question,
    const std::string& rightContent, TestMisbehaviour misbehaviour);

/// In content and body: stands for bytes that are no UTF-8, which the server sends in
/// place of it.
inline constexpr std::string_view notUtf8Mark = "\xEE\x80\x80"; // U+E000

} // namespace nimbe
