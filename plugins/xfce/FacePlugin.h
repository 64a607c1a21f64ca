#pragma once

#include "FaceClient.h"

#include <gtk/gtk.h>
#include <libxfce4panel/libxfce4panel.h>

namespace lumenstat::xfce {

// One item's face inside xfce4-panel: draws the app's rendering at the panel's thickness,
// scale and text colour, at exactly the face's width, with the face's text as tooltip. A left
// click asks the app for its panel, hung from the plug-in's edge that faces the screen.
// Nothing shows while the app is not running or does not show the item.
class FacePlugin {
public:
    FacePlugin(XfcePanelPlugin* plugin, const char* item);
    FacePlugin(const FacePlugin&) = delete;
    FacePlugin& operator=(const FacePlugin&) = delete;

    // Builds a plug-in for `item` and ties its lifetime to the panel's plug-in widget.
    static void attach(XfcePanelPlugin* plugin, const char* item);

private:
    static gboolean onSizeChanged(XfcePanelPlugin* plugin, gint size, gpointer self);
    static void onModeChanged(XfcePanelPlugin* plugin, XfcePanelPluginMode mode, gpointer self);
    static void onStyleUpdated(GtkWidget* widget, gpointer self);
    static void onScaleFactor(GObject* object, GParamSpec* property, gpointer self);
    static gboolean onDraw(GtkWidget* widget, cairo_t* cr, gpointer self);
    static gboolean onButtonPress(GtkWidget* widget, GdkEventButton* event, gpointer self);
    static void onFree(XfcePanelPlugin* plugin, gpointer self);
    static void onConfigure(XfcePanelPlugin* plugin, gpointer self);

    bool vertical() const;
    void updateRequest();
    void faceChanged();
    double shrink() const; // how much a vertical panel scales the face down
    const char* edge(const GdkRectangle& area) const;

    XfcePanelPlugin* plugin_;
    GtkWidget* area_;
    FaceClient client_;
    bool shown_ = false;
};

} // namespace lumenstat::xfce
