#pragma once

#include <optional>

#include "NimbeApp/RemoteControl.h"
#include "PlatformGLib/GlibPointers.h"

namespace nimbe::remote {

// What both sides of the remote control agree on. A change that callers would notice
// takes another number in the interface's name.
inline constexpr const char* busName = "com.nimbehq.Nimbe";
inline constexpr const char* objectPath = "/com/nimbehq/Nimbe";
inline constexpr const char* interfaceName = "com.nimbehq.Nimbe1";
inline constexpr const char* busyError = "com.nimbehq.Nimbe1.Error.Busy";
inline constexpr const char* statusChanged = "StatusChanged";

/// For introspection, and for what the bus library checks of every call.
[[nodiscard]] GDBusInterfaceInfo* interfaceInfo();

/// a{sv}: "phase" s, "latched" b, and where there is one "message" s and "target" s.
[[nodiscard]] GVariantPointer dictionaryOf(const RemoteStatus& status);
/// Absent when it has no phase. Unknown keys, and values of another type, are passed over.
[[nodiscard]] std::optional<RemoteStatus> statusOf(GVariant* dictionary);

} // namespace nimbe::remote
