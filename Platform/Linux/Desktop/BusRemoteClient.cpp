#include "PlatformDesktop/BusRemoteClient.h"

#include "PlatformDesktop/RemoteInterface.h"
#include "PlatformGLib/CancelAfter.h"
#include "PlatformGLib/SessionBus.h"

namespace nimbe {
namespace {

using Kind = RemoteError::Kind;

Kind kindOf(const GlibError& error) {
    if (error.is(G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) ||
        error.is(G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER))
        return Kind::notRunning;
    const bool isSilent =
        error.is(G_IO_ERROR, G_IO_ERROR_CANCELLED) || error.is(G_IO_ERROR, G_IO_ERROR_TIMED_OUT) ||
        error.is(G_IO_ERROR, G_IO_ERROR_CLOSED) || error.is(G_DBUS_ERROR, G_DBUS_ERROR_NO_REPLY);
    return isSilent || error.remoteName() == remote::busyError ? Kind::noAnswer : Kind::failed;
}

/// `replyType` is what makes sense as an answer.
Result<GVariantPointer, RemoteError> call(const char* method, const char* replyType) {
    const CancelAfter deadline(BusRemoteClient::patience);
    const auto bus = SessionBus::connect(deadline);
    if (!bus) return failure(RemoteError{Kind::noBus, bus.error()});
    GlibError error;
    GVariantPointer reply(g_dbus_connection_call_sync(bus->get(), remote::busName,
        remote::objectPath, remote::interfaceName, method, nullptr, G_VARIANT_TYPE(replyType),
        G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, deadline, error.out()));
    if (!reply)
        return failure(RemoteError{kindOf(error), std::string(method) + ": " + error.code()});
    return reply;
}

const char* methodOf(RemoteInstance::Command command) {
    switch (command) {
    case RemoteInstance::Command::toggle: return "Toggle";
    case RemoteInstance::Command::start: return "Start";
    case RemoteInstance::Command::stop: return "Stop";
    case RemoteInstance::Command::cancel: return "Cancel";
    }
    return nullptr;
}

Result<void, RemoteError> callWithoutResult(const char* method) {
    const auto reply = call(method, "()");
    if (!reply) return failure(reply.error());
    return {};
}

} // namespace

Result<bool, RemoteError> BusRemoteClient::ask(Command command) {
    const auto reply = call(methodOf(command), "(b)");
    if (!reply) return failure(reply.error());
    gboolean isDone = FALSE;
    g_variant_get(reply->get(), "(b)", &isDone);
    return isDone != FALSE;
}

Result<RemoteStatus, RemoteError> BusRemoteClient::status() {
    const auto reply = call("Status", "(a{sv})");
    if (!reply) return failure(reply.error());
    const GVariantPointer dictionary(g_variant_get_child_value(reply->get(), 0));
    auto status = remote::statusOf(dictionary.get());
    if (!status) return failure(RemoteError{Kind::failed, "Status: no phase"});
    return std::move(*status);
}

Result<void, RemoteError> BusRemoteClient::activate() {
    return callWithoutResult("Activate");
}

Result<void, RemoteError> BusRemoteClient::quit() {
    return callWithoutResult("Quit");
}

} // namespace nimbe
