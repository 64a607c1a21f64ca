#include "FacePlugin.h"

#include <algorithm>
#include <cmath>

namespace lumenstat::xfce {

namespace {

constexpr int kNaturalHeight = 22; // the styles' own height, passed for vertical panels
constexpr int kMinHeight = 8;
constexpr int kMaxHeight = 512;

uint32_t argb(const GdkRGBA& c) {
    auto channel = [](double v) {
        return static_cast<uint32_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0));
    };
    return channel(c.alpha) << 24 | channel(c.red) << 16 | channel(c.green) << 8 | channel(c.blue);
}

} // namespace

FacePlugin::FacePlugin(XfcePanelPlugin* plugin, const char* item)
    : plugin_(plugin), area_(gtk_drawing_area_new()), client_(item, [this] { faceChanged(); }) {
    xfce_panel_plugin_set_small(plugin_, FALSE);
    gtk_container_add(GTK_CONTAINER(plugin_), area_);
    // Clicks anywhere on the face reach the plug-in (ours, and the panel's menu).
    gtk_event_box_set_above_child(GTK_EVENT_BOX(plugin_), TRUE);
    gtk_widget_show(area_);
    gtk_widget_set_no_show_all(GTK_WIDGET(plugin_), TRUE);
    gtk_widget_hide(GTK_WIDGET(plugin_));

    g_signal_connect(plugin_, "size-changed", G_CALLBACK(&FacePlugin::onSizeChanged), this);
    g_signal_connect(plugin_, "mode-changed", G_CALLBACK(&FacePlugin::onModeChanged), this);
    g_signal_connect(plugin_, "style-updated", G_CALLBACK(&FacePlugin::onStyleUpdated), this);
    g_signal_connect(plugin_, "notify::scale-factor", G_CALLBACK(&FacePlugin::onScaleFactor), this);
    g_signal_connect(plugin_, "button-press-event", G_CALLBACK(&FacePlugin::onButtonPress), this);
    g_signal_connect(area_, "draw", G_CALLBACK(&FacePlugin::onDraw), this);
    g_signal_connect(plugin_, "free-data", G_CALLBACK(&FacePlugin::onFree), this);
    // The panel's own "Properties" entry of the right-click menu opens the app's settings.
    xfce_panel_plugin_menu_show_configure(plugin_);
    g_signal_connect(plugin_, "configure-plugin", G_CALLBACK(&FacePlugin::onConfigure), this);
    updateRequest();
}

void FacePlugin::attach(XfcePanelPlugin* plugin, const char* item) {
    new FacePlugin(plugin, item); // deleted on the plug-in's free-data
}

void FacePlugin::onConfigure(XfcePanelPlugin*, gpointer self) {
    static_cast<FacePlugin*>(self)->client_.showSettings();
}

void FacePlugin::onFree(XfcePanelPlugin*, gpointer self) {
    delete static_cast<FacePlugin*>(self);
}

gboolean FacePlugin::onSizeChanged(XfcePanelPlugin*, gint, gpointer self) {
    static_cast<FacePlugin*>(self)->updateRequest();
    return TRUE;
}

void FacePlugin::onModeChanged(XfcePanelPlugin*, XfcePanelPluginMode, gpointer self) {
    static_cast<FacePlugin*>(self)->updateRequest();
}

void FacePlugin::onStyleUpdated(GtkWidget*, gpointer self) {
    static_cast<FacePlugin*>(self)->updateRequest();
}

void FacePlugin::onScaleFactor(GObject*, GParamSpec*, gpointer self) {
    static_cast<FacePlugin*>(self)->updateRequest();
}

bool FacePlugin::vertical() const {
    return xfce_panel_plugin_get_mode(plugin_) != XFCE_PANEL_PLUGIN_MODE_HORIZONTAL;
}

// A horizontal panel gives the face its thickness; a vertical one its natural height (the face
// is scaled down to the panel's width when wider). The client re-watches only on a change.
void FacePlugin::updateRequest() {
    FaceRequest request;
    request.height = vertical()
                         ? kNaturalHeight
                         : std::clamp(xfce_panel_plugin_get_size(plugin_), kMinHeight, kMaxHeight);
    request.scale = std::max(1, gtk_widget_get_scale_factor(GTK_WIDGET(plugin_)));
    GdkRGBA colour;
    GtkStyleContext* style = gtk_widget_get_style_context(GTK_WIDGET(plugin_));
    gtk_style_context_get_color(style, gtk_style_context_get_state(style), &colour);
    request.colour = argb(colour);
    client_.setRequest(request);
    faceChanged();
}

double FacePlugin::shrink() const {
    const Face& face = client_.face();
    const int room = xfce_panel_plugin_get_size(plugin_);
    if (!vertical() || face.width <= room || face.width <= 0)
        return 1.0;
    return static_cast<double>(room) / face.width;
}

void FacePlugin::faceChanged() {
    const Face& face = client_.face();
    const bool show = face.surface != nullptr;
    if (show) {
        // The face's own width, so fixed-width styles never jump as the numbers change.
        const double s = shrink();
        if (vertical())
            gtk_widget_set_size_request(area_, -1, static_cast<int>(std::ceil(face.height * s)));
        else
            gtk_widget_set_size_request(area_, face.width, -1);
        gtk_widget_set_tooltip_text(GTK_WIDGET(plugin_), face.text.c_str());
        gtk_widget_queue_draw(area_);
    }
    if (show != shown_) {
        shown_ = show;
        gtk_widget_set_visible(GTK_WIDGET(plugin_), show);
        if (!show)
            gtk_widget_set_tooltip_text(GTK_WIDGET(plugin_), nullptr);
    }
}

gboolean FacePlugin::onDraw(GtkWidget* widget, cairo_t* cr, gpointer data) {
    auto* self = static_cast<FacePlugin*>(data);
    const Face& face = self->client_.face();
    if (face.surface == nullptr)
        return FALSE;
    // The theme's background for this plug-in (none by default), under the face.
    gtk_render_background(gtk_widget_get_style_context(GTK_WIDGET(self->plugin_)), cr, 0, 0,
                          gtk_widget_get_allocated_width(widget),
                          gtk_widget_get_allocated_height(widget));
    const double s = self->shrink();
    const double x = std::round((gtk_widget_get_allocated_width(widget) - face.width * s) / 2);
    const double y = std::round((gtk_widget_get_allocated_height(widget) - face.height * s) / 2);
    cairo_save(cr);
    cairo_translate(cr, x, y);
    cairo_scale(cr, s, s);
    cairo_set_source_surface(cr, face.surface, 0, 0);
    if (s < 1.0)
        cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
    cairo_paint(cr);
    cairo_restore(cr);
    return TRUE;
}

// The screen edge the panel sits on; a floating panel counts as on the nearer edge.
const char* FacePlugin::edge(const GdkRectangle& area) const {
    const XfceScreenPosition position = xfce_panel_plugin_get_screen_position(plugin_);
    if (xfce_screen_position_is_top(position))
        return "top";
    if (xfce_screen_position_is_bottom(position))
        return "bottom";
    if (xfce_screen_position_is_left(position))
        return "left";
    if (xfce_screen_position_is_right(position))
        return "right";
    GdkRectangle screen{0, 0, 0, 0};
    GdkDisplay* display = gtk_widget_get_display(GTK_WIDGET(plugin_));
    GdkWindow* window = gtk_widget_get_window(GTK_WIDGET(plugin_));
    if (GdkMonitor* monitor = window ? gdk_display_get_monitor_at_window(display, window) : nullptr)
        gdk_monitor_get_geometry(monitor, &screen);
    if (xfce_screen_position_is_horizontal(position))
        return area.y + area.height / 2 < screen.y + screen.height / 2 ? "top" : "bottom";
    return area.x + area.width / 2 < screen.x + screen.width / 2 ? "left" : "right";
}

gboolean FacePlugin::onButtonPress(GtkWidget* widget, GdkEventButton* event, gpointer data) {
    auto* self = static_cast<FacePlugin*>(data);
    if (event->button != 1 || event->type != GDK_BUTTON_PRESS)
        return FALSE;
    // The plug-in's rectangle in screen coordinates (device-independent pixels).
    GtkWidget* toplevel = gtk_widget_get_toplevel(widget);
    GdkWindow* window = gtk_widget_get_window(toplevel);
    int x = 0, y = 0, originX = 0, originY = 0;
    if (window == nullptr || !gtk_widget_translate_coordinates(widget, toplevel, 0, 0, &x, &y))
        return FALSE;
    gdk_window_get_origin(window, &originX, &originY);
    const GdkRectangle area{originX + x, originY + y, gtk_widget_get_allocated_width(widget),
                            gtk_widget_get_allocated_height(widget)};
    const char* side = self->edge(area);
    int px = area.x + area.width / 2, py = area.y + area.height / 2;
    if (g_str_equal(side, "top"))
        py = area.y + area.height;
    else if (g_str_equal(side, "bottom"))
        py = area.y;
    else if (g_str_equal(side, "left"))
        px = area.x + area.width;
    else
        px = area.x;
    self->client_.showPanel(px, py, side);
    return TRUE;
}

} // namespace lumenstat::xfce
