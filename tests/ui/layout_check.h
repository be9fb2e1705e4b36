// Finds what a laid out window shows badly: outside of what holds it, cut, on top of each other.
// Used by layout_test.cpp.
#pragma once

#include "ui_harness.h"

#include <string>
#include <vector>

/// A widget's place in the window, with padding and border.
struct Edges {
    float left;
    float top;
    float right;
    float bottom;
};

Edges edges_of(GtkWidget* widget);

/// A line for each fault of what is mapped under `root`:
/// - a widget reaches out of its parent, where that does not scroll
/// - a label is cut, without dots or without a tooltip that has all of its text
/// - two children of a box lie on each other
/// - two buttons of a line do not stand on one line
Texts layout_faults(GtkWidget* root);
