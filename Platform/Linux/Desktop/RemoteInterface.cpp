#include "PlatformDesktop/RemoteInterface.h"

#include "Foundation/Text.h"

namespace nimbe::remote {
namespace {

constexpr const char* introspection = R"(<node>
  <interface name="com.nimbehq.Nimbe1">
    <method name="Toggle"><arg name="done" type="b" direction="out"/></method>
    <method name="Start"><arg name="done" type="b" direction="out"/></method>
    <method name="Stop"><arg name="done" type="b" direction="out"/></method>
    <method name="Cancel"><arg name="done" type="b" direction="out"/></method>
    <method name="Status"><arg name="status" type="a{sv}" direction="out"/></method>
    <method name="Activate"/>
    <method name="Quit"/>
    <signal name="StatusChanged"><arg name="status" type="a{sv}"/></signal>
  </interface>
</node>)";

/// Other programs' names may be anything; the bus cuts off who sends no UTF-8.
GVariant* variantOf(const std::string& name) {
    return g_variant_new_string(text::mended(name).c_str());
}

std::optional<std::string> lookUp(GVariant* dictionary, const char* key) {
    const char* text = nullptr;
    if (!g_variant_lookup(dictionary, key, "&s", &text)) return std::nullopt;
    return text;
}

} // namespace

GDBusInterfaceInfo* interfaceInfo() {
    static GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(introspection, nullptr);
    return node->interfaces[0];
}

GVariantPointer dictionaryOf(const RemoteStatus& status) {
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    const auto add = [&](const char* key, GVariant* value) {
        g_variant_builder_add(&builder, "{sv}", key, value);
    };
    add("phase", variantOf(status.phase));
    if (status.message) add("message", variantOf(*status.message));
    if (status.target) add("target", variantOf(*status.target));
    add("latched", g_variant_new_boolean(status.isLatched ? TRUE : FALSE));
    return owned(g_variant_builder_end(&builder));
}

std::optional<RemoteStatus> statusOf(GVariant* dictionary) {
    auto phase = lookUp(dictionary, "phase");
    if (!phase) return std::nullopt;
    RemoteStatus status{
        std::move(*phase), lookUp(dictionary, "message"), lookUp(dictionary, "target")};
    gboolean isLatched = FALSE;
    status.isLatched =
        g_variant_lookup(dictionary, "latched", "b", &isLatched) != FALSE && isLatched != FALSE;
    return status;
}

} // namespace nimbe::remote
