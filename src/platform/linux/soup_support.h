// What the two seams on libsoup share. Private to this folder.
#pragma once

#include "platform/web_url.h"

#include <glib.h>

#include <memory>

constexpr char k_soup_user_agent[] = "VelmoClient/1.0";

struct MainContextUnref {
    void operator()(GMainContext* context) const { g_main_context_unref(context); }
};
using MainContextPtr = std::unique_ptr<GMainContext, MainContextUnref>;

/// While it lives, `context` is the one that this thread's sessions hang timers and idle work on.
class WithinContext {
  public:
    explicit WithinContext(GMainContext* context) : m_context(context) {
        g_main_context_push_thread_default(m_context);
    }
    WithinContext(const WithinContext&) = delete;
    WithinContext& operator=(const WithinContext&) = delete;
    ~WithinContext() { g_main_context_pop_thread_default(m_context); }

  private:
    GMainContext* m_context;
};

struct UriUnref {
    void operator()(GUri* uri) const { g_uri_unref(uri); }
};
using UriPtr = std::unique_ptr<GUri, UriUnref>;

/// Built from its parts: parsing would rewrite escapes.
UriPtr soup_uri_of(const WebUrl& url);
