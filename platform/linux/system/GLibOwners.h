#pragma once

#include <gio/gio.h>

#include <memory>

namespace qf::native {

/// Releases what GLib returns.
struct GLibDeleter {
    void operator()(void* object) const { g_object_unref(object); }
    void operator()(char* text) const { g_free(text); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(GVariant* variant) const { g_variant_unref(variant); }
};

/// Owns one reference to a GObject.
template <class Object>
using Owned = std::unique_ptr<Object, GLibDeleter>;

/// Owns a string that g_free() frees.
using OwnedText = std::unique_ptr<char, GLibDeleter>;

/// Owns an error.
using OwnedError = std::unique_ptr<GError, GLibDeleter>;

/// Owns one reference to a variant.
using OwnedVariant = std::unique_ptr<GVariant, GLibDeleter>;

} // namespace qf::native
