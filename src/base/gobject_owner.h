// Owner for references to GObjects. Used wherever GObject is; the including target links it.
#pragma once

#include <glib-object.h>

#include <memory>

struct GObjectUnref {
    void operator()(void* object) const { g_object_unref(object); }
};

/// Owns one reference. To adopt a floating one, sink it first.
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;
