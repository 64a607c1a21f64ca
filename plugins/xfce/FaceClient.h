#pragma once

#include <cairo.h>
#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <string>

namespace lumenstat::xfce {

// What a panel asks the app for: one item's face at the panel's thickness, device pixel ratio
// and text colour (0xAARRGGBB; alpha 0 leaves the colour to the app).
struct FaceRequest {
    int height = 22;
    double scale = 1.0;
    uint32_t colour = 0;
    bool operator==(const FaceRequest&) const = default;
};

// The face as the app last sent it; `surface` is null while there is nothing to show. The
// surface carries the request's scale as its device scale, so it paints at width x height.
struct Face {
    int width = 0;
    int height = 0;
    cairo_surface_t* surface = nullptr;
    std::string text;
};

// The app's D-Bus face of one item, seen from a panel plug-in. Follows the app's bus name:
// watches the face while the app runs and lists the item, forgets it when the app leaves and
// watches again when it comes back. Never polls: the face changes only through the app's
// Changed signals, and every change is reported through the listener.
class FaceClient {
public:
    using Listener = std::function<void()>;

    FaceClient(std::string item, Listener changed);
    ~FaceClient();
    FaceClient(const FaceClient&) = delete;
    FaceClient& operator=(const FaceClient&) = delete;

    // Watches with these parameters from now on (a new watch only when they differ).
    void setRequest(const FaceRequest& request);
    const Face& face() const { return face_; }
    // Asks the app to toggle its panel, hung from (x, y) on the panel's screen edge.
    void showPanel(int x, int y, const char* edge);
    // Opens (or raises) the app's settings window.
    void showSettings();

private:
    struct Call;

    static void onAppeared(GDBusConnection* connection, const char* name, const char* owner,
                           gpointer self);
    static void onVanished(GDBusConnection* connection, const char* name, gpointer self);
    static void onSignal(GDBusConnection* connection, const char* sender, const char* path,
                         const char* interface, const char* signal, GVariant* parameters,
                         gpointer self);
    static void onItemsReply(GObject* source, GAsyncResult* result, gpointer call);
    static void onWatchReply(GObject* source, GAsyncResult* result, gpointer call);

    void setListed(bool listed);
    void watch();
    void unwatch();
    void forget();
    void applyChanges(GVariant* changes);
    bool setPixels(int width, int height, GVariant* pixels);
    void clearFace();

    std::string item_;
    Listener changed_;
    FaceRequest request_;
    bool requested_ = false;

    guint nameWatch_ = 0;
    GDBusConnection* connection_ = nullptr;
    std::string owner_;
    guint changedSubscription_ = 0;
    guint itemsSubscription_ = 0;
    GCancellable* cancellable_ = nullptr;
    unsigned session_ = 0; // counts the app's appearances; replies from an older one are stale

    bool listed_ = false;
    bool watchInFlight_ = false;
    uint32_t watchId_ = 0;
    FaceRequest watched_;
    Face face_;
};

} // namespace lumenstat::xfce
