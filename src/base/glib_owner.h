// Owners for what GLib allocates and is freed by a function of its own. Used wherever GLib is; the
// including target links it.
#pragma once

#include <glib.h>

#include <cstddef>
#include <memory>

struct GFree {
    void operator()(void* memory) const { g_free(memory); }
};

/// Owns a returned text.
using GCharPtr = std::unique_ptr<char, GFree>;

/// Owns what GLib stores through a parameter of the form T**, which may be for as long as the owner
/// lives; stays where it is therefore.
template <typename T, auto release>
class GSlot {
  public:
    explicit GSlot(T* object = nullptr) : m_object(object) {}
    GSlot(const GSlot&) = delete;
    GSlot& operator=(const GSlot&) = delete;
    ~GSlot() {
        if (m_object != nullptr) {
            release(m_object);
        }
    }

    /// For a parameter that GLib fills, while this is empty, or that it changes.
    T** address() { return &m_object; }

    T* get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator[](std::size_t index) const { return m_object[index]; }
    explicit operator bool() const { return m_object != nullptr; }

  private:
    T* m_object;
};

using GErrorSlot = GSlot<GError, g_error_free>;
using GCharSlot = GSlot<char, g_free>;
using GStrvSlot = GSlot<char*, g_strfreev>; ///< a list of texts that ends with a null pointer
