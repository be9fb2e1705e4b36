// Owners for what the interface gets from GLib: references, texts and errors, all from base.
#pragma once

#include "base/glib_owner.h"
#include "base/gobject_owner.h"
