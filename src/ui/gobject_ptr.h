// Owners for what the interface gets from GLib: GObject references here, texts and errors from
// base.
#pragma once

#include "base/glib_owner.h"

#include <glib-object.h>

#include <memory>

struct GObjectUnref {
    void operator()(void* object) const { g_object_unref(object); }
};

/// Owns one reference. To adopt a floating one, sink it first.
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;
