// See layout_check.h.
#include "layout_check.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace {

constexpr float k_tolerance = 1.0F; // of one edge, in pixels: halves are rounded
constexpr int k_tooltip_reach = 4;  // a label's own, or that of what it is the text of

bool near(float first, float second) {
    return std::fabs(first - second) <= k_tolerance;
}

// As one would point at it.
std::string name_of(GtkWidget* widget) {
    std::string name = G_OBJECT_TYPE_NAME(widget);
    if (GTK_IS_LABEL(widget)) {
        name += " '" + label(widget) + "'";
    }
    char** const classes = gtk_widget_get_css_classes(widget);
    for (char** css_class = classes; *css_class != nullptr; ++css_class) {
        name += std::string(".") + *css_class;
    }
    g_strfreev(classes);
    const Edges place = edges_of(widget);
    for (const float edge : {place.left, place.top, place.right, place.bottom}) {
        name += " " + std::to_string(std::lround(edge));
    }
    return name;
}

bool can_scroll(GtkPolicyType policy) {
    return policy == GTK_POLICY_AUTOMATIC || policy == GTK_POLICY_ALWAYS;
}

// Ways in which a child may be larger than what is seen of it.
struct Scrolling {
    bool across = false;
    bool down = false;
};

Scrolling ways_to_scroll(GtkWidget* widget) {
    GtkWidget* const parent = gtk_widget_get_parent(widget);
    if (!GTK_IS_VIEWPORT(widget) || !GTK_IS_SCROLLED_WINDOW(parent)) {
        return {};
    }
    GtkPolicyType across{};
    GtkPolicyType down{};
    gtk_scrolled_window_get_policy(GTK_SCROLLED_WINDOW(parent), &across, &down);
    return {can_scroll(across), can_scroll(down)};
}

void check_is_inside(GtkWidget* child, GtkWidget* parent, Texts& faults) {
    if (std::string_view(gtk_widget_get_css_name(child)) == "slider") {
        return; // on its trough, which is thinner
    }
    const Scrolling scrolling = ways_to_scroll(parent);
    const Edges inner = edges_of(child);
    const Edges outer = edges_of(parent);
    const bool is_across =
        inner.left >= outer.left - k_tolerance && inner.right <= outer.right + k_tolerance;
    const bool is_down =
        inner.top >= outer.top - k_tolerance && inner.bottom <= outer.bottom + k_tolerance;
    if ((!is_across && !scrolling.across) || (!is_down && !scrolling.down)) {
        faults.push_back(name_of(child) + " reaches out of " + name_of(parent));
    }
}

bool has_tooltip_with(GtkWidget* widget, const std::string& text) {
    if (tells_cut_text(widget)) {
        return true;
    }
    for (int i = 0; i < k_tooltip_reach && widget != nullptr; ++i) {
        const char* const tooltip = gtk_widget_get_tooltip_text(widget);
        if (tooltip != nullptr && std::string(tooltip).find(text) != std::string::npos) {
            return true;
        }
        widget = gtk_widget_get_parent(widget);
    }
    return false;
}

void check_label(GtkWidget* widget, Texts& faults) {
    PangoLayout* const layout = gtk_label_get_layout(GTK_LABEL(widget));
    int width = 0;
    int height = 0;
    pango_layout_get_pixel_size(layout, &width, &height);
    if (width > gtk_widget_get_width(widget) + 1 || height > gtk_widget_get_height(widget) + 1) {
        faults.push_back(name_of(widget) + " is cut: its text takes " + std::to_string(width) +
                         " x " + std::to_string(height));
    }
    if (pango_layout_is_ellipsized(layout) != FALSE && !has_tooltip_with(widget, label(widget))) {
        faults.push_back(name_of(widget) + " is cut and no tooltip tells the rest");
    }
}

void check_box(const std::vector<GtkWidget*>& children, bool is_line, Texts& faults) {
    for (std::size_t i = 0; i + 1 < children.size(); ++i) {
        const Edges first = edges_of(children[i]);
        const Edges second = edges_of(children[i + 1]);
        const float across =
            std::min(first.right, second.right) - std::max(first.left, second.left);
        const float down = std::min(first.bottom, second.bottom) - std::max(first.top, second.top);
        if (across > k_tolerance && down > k_tolerance) {
            faults.push_back(name_of(children[i]) + " lies on " + name_of(children[i + 1]));
        }
        if (is_line && GTK_IS_BUTTON(children[i]) && GTK_IS_BUTTON(children[i + 1]) &&
            !(near(first.top, second.top) && near(first.bottom, second.bottom))) {
            faults.push_back(name_of(children[i]) + " is not on one line with " +
                             name_of(children[i + 1]));
        }
    }
}

void check(GtkWidget* widget, Texts& faults) {
    if (GTK_IS_LABEL(widget)) {
        check_label(widget, faults);
    }
    std::vector<GtkWidget*> shown;
    for (GtkWidget* const child : children_of(widget)) {
        // What has a surface of its own has a place of its own.
        if (gtk_widget_get_mapped(child) != FALSE && !GTK_IS_NATIVE(child)) {
            shown.push_back(child);
            check_is_inside(child, widget, faults);
            check(child, faults);
        }
    }
    if (GTK_IS_BOX(widget)) {
        const bool is_line =
            gtk_orientable_get_orientation(GTK_ORIENTABLE(widget)) == GTK_ORIENTATION_HORIZONTAL;
        check_box(shown, is_line, faults);
    }
}

} // namespace

Edges edges_of(GtkWidget* widget) {
    graphene_rect_t place{};
    GtkWidget* const window = GTK_WIDGET(gtk_widget_get_root(widget));
    if (gtk_widget_compute_bounds(widget, window, &place) == FALSE) {
        return {};
    }
    return {place.origin.x, place.origin.y, place.origin.x + place.size.width,
            place.origin.y + place.size.height};
}

Texts layout_faults(GtkWidget* root) {
    Texts faults;
    check(root, faults);
    return faults;
}
