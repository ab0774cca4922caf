#include "Support/BusService.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <future>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace nimbe {
namespace {

constexpr const char* busAddress = "DBUS_SESSION_BUS_ADDRESS";

std::string replaceAddress(const std::string& address) {
    const char* previous = std::getenv(busAddress);
    std::string kept = previous ? previous : "";
    ::setenv(busAddress, address.c_str(), 1);
    return kept;
}

} // namespace

BusService::BusService(const char* name, const char* introspection, Handler handler)
    : handler(std::move(handler)), node(g_dbus_node_info_new_for_xml(introspection, nullptr)) {
    if (!node) throw std::runtime_error("introspection data that is not valid");
    bool isOwner = false;
    on([&] {
        auto connected = SessionBus::connect(nullptr);
        if (!connected) return;
        bus.emplace(std::move(*connected));
        const GVariantPointer reply(
            g_dbus_connection_call_sync(bus->get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                "org.freedesktop.DBus", "RequestName", g_variant_new("(su)", name, 4U), nullptr,
                G_DBUS_CALL_FLAGS_NONE, 5000, nullptr, nullptr));
        guint outcome = 0;
        if (reply) g_variant_get(reply.get(), "(u)", &outcome);
        isOwner = outcome == 1;
    });
    if (!isOwner) throw std::runtime_error(std::string("not to be had: ") + name);
}

BusService::~BusService() {
    vanish();
    thread.stop();
    g_dbus_node_info_unref(node);
}

void BusService::on(const std::function<void()>& job) {
    std::promise<void> done;
    thread.post([&] {
        job();
        done.set_value();
    });
    done.get_future().get();
}

void BusService::addObject(const char* path, unsigned interface) {
    on([&] {
        GDBusInterfaceVTable table{};
        table.method_call = onCall;
        g_dbus_connection_register_object(
            bus->get(), path, node->interfaces[interface], &table, this, nullptr, nullptr);
    });
}

void BusService::emit(
    const char* path, const char* interface, const char* signal, GVariant* arguments) {
    g_dbus_connection_emit_signal(bus->get(), nullptr, path, interface, signal, arguments, nullptr);
}

void BusService::vanish() {
    on([&] {
        if (bus) g_dbus_connection_close_sync(bus->get(), nullptr, nullptr);
    });
}

void BusService::onCall(GDBusConnection* /*connection*/, const char* /*sender*/, const char* path,
    const char* /*interface*/, const char* /*method*/, GVariant* /*parameters*/,
    GDBusMethodInvocation* invocation, gpointer self) {
    static_cast<BusService*>(self)->handler(path, invocation);
}

PrivateBus::PrivateBus() {
    std::array<int, 2> pipe{};
    if (::pipe(pipe.data()) != 0) throw std::runtime_error("no pipe");
    pid = ::fork();
    if (pid == 0) {
        ::dup2(pipe[1], 3);
        ::execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--nopidfile",
            "--print-address=3", nullptr);
        ::_exit(127);
    }
    ::close(pipe[1]);
    std::array<char, 512> address{};
    const auto count = ::read(pipe[0], address.data(), address.size());
    ::close(pipe[0]);
    if (count <= 1) throw std::runtime_error("dbus-daemon does not start");
    previous = replaceAddress(std::string(address.data(), static_cast<std::size_t>(count) - 1));
}

PrivateBus::~PrivateBus() {
    kill();
    replaceAddress(previous);
}

void PrivateBus::kill() {
    if (pid <= 0) return;
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
    pid = -1;
}

HungBus::HungBus() : socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const std::string name = "nimbe-hung-bus-" + std::to_string(::getpid());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path + 1, name.size()); // in the abstract name space
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    if (::bind(socket, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        ::listen(socket, 10) != 0)
        throw std::runtime_error("no socket");
    previous = replaceAddress("unix:abstract=" + name);
}

HungBus::~HungBus() {
    ::close(socket);
    replaceAddress(previous);
}

} // namespace nimbe
