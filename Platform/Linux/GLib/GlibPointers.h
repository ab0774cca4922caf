#pragma once

#include <gio/gio.h>
#include <memory>
#include <string>

namespace nimbe {

struct GObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using GObjectPointer = std::unique_ptr<T, GObjectUnref>;

struct GVariantUnref {
    void operator()(GVariant* value) const { g_variant_unref(value); }
};
/// Not floating: a new one goes in through owned().
using GVariantPointer = std::unique_ptr<GVariant, GVariantUnref>;

[[nodiscard]] inline GVariantPointer owned(GVariant* floating) {
    return GVariantPointer(g_variant_ref_sink(floating));
}

struct GlibFree {
    void operator()(gpointer memory) const { g_free(memory); }
};
using GlibString = std::unique_ptr<char, GlibFree>;

struct KeyFileUnref {
    void operator()(GKeyFile* file) const { g_key_file_unref(file); }
};
using KeyFilePointer = std::unique_ptr<GKeyFile, KeyFileUnref>;

/// An error that a function of GLib may fill.
class GlibError {
public:
    GlibError() = default;
    ~GlibError() { g_clear_error(&error); }
    GlibError(const GlibError&) = delete;
    GlibError& operator=(const GlibError&) = delete;

    [[nodiscard]] GError** out() { return &error; }
    [[nodiscard]] bool isSet() const { return error != nullptr; }
    [[nodiscard]] bool is(GQuark domain, int code) const {
        return g_error_matches(error, domain, code) != FALSE;
    }
    /// Domain and code: messages may hold paths and names.
    [[nodiscard]] std::string code() const {
        if (!error) return "none";
        return std::string(g_quark_to_string(error->domain)) + "/" + std::to_string(error->code);
    }
    /// The D-Bus name of an error that came from the other side; empty: it did not.
    [[nodiscard]] std::string remoteName() const {
        if (!error) return {};
        const GlibString name(g_dbus_error_get_remote_error(error));
        return name ? name.get() : "";
    }

private:
    GError* error = nullptr;
};

} // namespace nimbe
