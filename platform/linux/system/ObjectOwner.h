#pragma once

#include <gio/gio.h>

#include <memory>

namespace platform::native {

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};

/// Owns one reference to a GObject.
template <class Object>
using Owned = std::unique_ptr<Object, Unref>;

} // namespace platform::native
