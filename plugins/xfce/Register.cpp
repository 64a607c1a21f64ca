// The module xfce4-panel loads for one item kind; LUMENSTAT_FACE_ITEM names the kind. The
// panel's registration macro is C only, so its two steps are written out: the panel calls
// xfce_panel_module_construct for each new item, and the face is built once it is realized.
#include "FacePlugin.h"

namespace {

void realize(XfcePanelPlugin* plugin, gpointer) {
    g_signal_handlers_disconnect_by_func(plugin, reinterpret_cast<gpointer>(&realize), nullptr);
    lumenstat::xfce::FacePlugin::attach(plugin, LUMENSTAT_FACE_ITEM);
}

} // namespace

extern "C" G_MODULE_EXPORT XfcePanelPlugin*
xfce_panel_module_construct(const gchar* name, gint uniqueId, const gchar* displayName,
                            const gchar* comment, gchar** arguments, GdkScreen* screen) {
    g_return_val_if_fail(GDK_IS_SCREEN(screen), nullptr);
    g_return_val_if_fail(name != nullptr && uniqueId != -1, nullptr);
    auto* plugin = static_cast<XfcePanelPlugin*>(
        g_object_new(XFCE_TYPE_PANEL_PLUGIN, "name", name, "unique-id", uniqueId, "display-name",
                     displayName, "comment", comment, "arguments", arguments, nullptr));
    g_signal_connect_after(plugin, "realize", G_CALLBACK(&realize), nullptr);
    return plugin;
}
