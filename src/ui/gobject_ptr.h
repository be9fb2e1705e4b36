// Owners for what GLib hands out: GObject references and allocated strings.
#pragma once

#include <glib-object.h>

#include <memory>

struct GObjectUnref {
    void operator()(void* object) const { g_object_unref(object); }
};

/// Owns one reference. To adopt a floating one, sink it first.
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GFree {
    void operator()(void* memory) const { g_free(memory); }
};

using GCharPtr = std::unique_ptr<char, GFree>;
