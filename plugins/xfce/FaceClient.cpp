#include "FaceClient.h"

#include <cmath>
#include <cstring>
#include <utility>

namespace lumenstat::xfce {

namespace {

constexpr const char* kService = "com.quillfern.Lumenstat";
constexpr const char* kPath = "/";
constexpr const char* kAppInterface = "com.quillfern.Lumenstat";
constexpr const char* kFaceInterface = "com.quillfern.Lumenstat.Face";
constexpr int kCallTimeoutMs = 5000;

bool listsItem(GVariant* items, const std::string& item) {
    GVariantIter iter;
    const char* kind = nullptr;
    g_variant_iter_init(&iter, items);
    while (g_variant_iter_next(&iter, "&s", &kind))
        if (item == kind)
            return true;
    return false;
}

} // namespace

// What an asynchronous call needs when its reply arrives: the client (valid unless the call
// was cancelled), the app's appearance it was made in and, for Watch, its parameters.
struct FaceClient::Call {
    FaceClient* self;
    unsigned session;
    FaceRequest request;
};

FaceClient::FaceClient(std::string item, Listener changed)
    : item_(std::move(item)), changed_(std::move(changed)), cancellable_(g_cancellable_new()) {
    nameWatch_ = g_bus_watch_name(G_BUS_TYPE_SESSION, kService, G_BUS_NAME_WATCHER_FLAGS_NONE,
                                  &FaceClient::onAppeared, &FaceClient::onVanished, this, nullptr);
}

FaceClient::~FaceClient() {
    g_cancellable_cancel(cancellable_);
    g_bus_unwatch_name(nameWatch_);
    // The panel stays on the bus after a plug-in is removed: tell the app to stop rendering.
    unwatch();
    forget();
    g_object_unref(cancellable_);
}

void FaceClient::setRequest(const FaceRequest& request) {
    if (requested_ && request == request_)
        return;
    request_ = request;
    requested_ = true;
    if (watchId_ != 0 && watched_ == request_)
        return;
    watch();
}

void FaceClient::showPanel(int x, int y, const char* edge) {
    if (connection_ == nullptr)
        return;
    // The network face opens the app's main panel; the other kinds open their own.
    if (item_ == "network")
        g_dbus_connection_call(connection_, owner_.c_str(), kPath, kAppInterface, "ShowPanel",
                               g_variant_new("(iis)", x, y, edge), nullptr,
                               G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs, nullptr, nullptr, nullptr);
    else
        g_dbus_connection_call(connection_, owner_.c_str(), kPath, kAppInterface, "ShowItemPanel",
                               g_variant_new("(siis)", item_.c_str(), x, y, edge), nullptr,
                               G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs, nullptr, nullptr, nullptr);
}

void FaceClient::showSettings() {
    if (connection_ == nullptr)
        return;
    g_dbus_connection_call(connection_, owner_.c_str(), kPath, kAppInterface, "ShowSettings",
                           nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs, nullptr,
                           nullptr, nullptr);
}

void FaceClient::onAppeared(GDBusConnection* connection, const char*, const char* owner,
                            gpointer data) {
    auto* self = static_cast<FaceClient*>(data);
    self->forget();
    ++self->session_;
    self->connection_ = G_DBUS_CONNECTION(g_object_ref(connection));
    self->owner_ = owner;
    self->changedSubscription_ = g_dbus_connection_signal_subscribe(
        connection, owner, kFaceInterface, "Changed", kPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        &FaceClient::onSignal, self, nullptr);
    self->itemsSubscription_ = g_dbus_connection_signal_subscribe(
        connection, owner, kFaceInterface, "ItemsChanged", kPath, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        &FaceClient::onSignal, self, nullptr);
    g_dbus_connection_call(connection, owner, kPath, kFaceInterface, "Items", nullptr,
                           G_VARIANT_TYPE("(as)"), G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs,
                           self->cancellable_, &FaceClient::onItemsReply,
                           new Call{self, self->session_, {}});
}

void FaceClient::onVanished(GDBusConnection*, const char*, gpointer data) {
    auto* self = static_cast<FaceClient*>(data);
    const bool shown = self->face_.surface != nullptr || !self->face_.text.empty();
    self->forget();
    ++self->session_;
    if (shown && self->changed_)
        self->changed_();
}

void FaceClient::onSignal(GDBusConnection*, const char*, const char*, const char*,
                          const char* signal, GVariant* parameters, gpointer data) {
    auto* self = static_cast<FaceClient*>(data);
    if (std::strcmp(signal, "ItemsChanged") == 0) {
        if (g_variant_is_of_type(parameters, G_VARIANT_TYPE("(as)"))) {
            GVariant* items = g_variant_get_child_value(parameters, 0);
            self->setListed(listsItem(items, self->item_));
            g_variant_unref(items);
        }
        return;
    }
    if (!g_variant_is_of_type(parameters, G_VARIANT_TYPE("(ua{sv})")))
        return;
    guint32 id = 0;
    GVariant* changes = nullptr;
    g_variant_get(parameters, "(u@a{sv})", &id, &changes);
    if (id != 0 && id == self->watchId_)
        self->applyChanges(changes);
    g_variant_unref(changes);
}

void FaceClient::onItemsReply(GObject* source, GAsyncResult* result, gpointer data) {
    Call* call = static_cast<Call*>(data);
    GError* error = nullptr;
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
    const bool cancelled =
        error != nullptr && g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
    if (!cancelled && call->session == call->self->session_) {
        bool listed = false;
        if (reply != nullptr) {
            GVariant* items = g_variant_get_child_value(reply, 0);
            listed = listsItem(items, call->self->item_);
            g_variant_unref(items);
        } else {
            g_message("lumenstat: the app lists no faces: %s", error->message);
        }
        call->self->setListed(listed);
    }
    if (reply != nullptr)
        g_variant_unref(reply);
    g_clear_error(&error);
    delete call;
}

void FaceClient::setListed(bool listed) {
    if (listed == listed_)
        return;
    listed_ = listed;
    if (listed_) {
        watch();
        return;
    }
    unwatch();
    clearFace();
    if (changed_)
        changed_();
}

// One Watch at a time: a request that changes while one is on its way is sent when its reply
// is in, so the app never holds a watch of ours that we have lost track of.
void FaceClient::watch() {
    if (connection_ == nullptr || !listed_ || !requested_ || watchInFlight_)
        return;
    unwatch();
    watchInFlight_ = true;
    g_dbus_connection_call(
        connection_, owner_.c_str(), kPath, kFaceInterface, "Watch",
        g_variant_new("(sidu)", item_.c_str(), request_.height, request_.scale, request_.colour),
        G_VARIANT_TYPE("(uiiays)"), G_DBUS_CALL_FLAGS_NONE, kCallTimeoutMs, cancellable_,
        &FaceClient::onWatchReply, new Call{this, session_, request_});
}

void FaceClient::onWatchReply(GObject* source, GAsyncResult* result, gpointer data) {
    Call* call = static_cast<Call*>(data);
    GError* error = nullptr;
    GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
    const bool cancelled =
        error != nullptr && g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
    FaceClient* self = cancelled || call->session != call->self->session_ ? nullptr : call->self;
    if (self != nullptr) {
        self->watchInFlight_ = false;
        if (reply == nullptr) {
            // An item the app no longer shows, or arguments it refuses: show nothing until
            // ItemsChanged lists the item again.
            g_message("lumenstat: no %s face: %s", self->item_.c_str(), error->message);
            self->listed_ = false;
            self->clearFace();
            if (self->changed_)
                self->changed_();
        } else {
            guint32 id = 0;
            gint32 width = 0, height = 0;
            GVariant* pixels = nullptr;
            const char* text = nullptr;
            g_variant_get(reply, "(uii@ay&s)", &id, &width, &height, &pixels, &text);
            self->watchId_ = id;
            self->watched_ = call->request;
            if (!(call->request == self->request_) || !self->listed_) {
                self->watch(); // unwatches this one first
            } else {
                self->face_.text = text;
                if (!self->setPixels(width, height, pixels))
                    self->clearFace();
                if (self->changed_)
                    self->changed_();
            }
            g_variant_unref(pixels);
        }
    }
    if (reply != nullptr)
        g_variant_unref(reply);
    g_clear_error(&error);
    delete call;
}

void FaceClient::unwatch() {
    if (watchId_ == 0)
        return;
    if (connection_ != nullptr)
        g_dbus_connection_call(connection_, owner_.c_str(), kPath, kFaceInterface, "Unwatch",
                               g_variant_new("(u)", watchId_), nullptr, G_DBUS_CALL_FLAGS_NONE,
                               kCallTimeoutMs, nullptr, nullptr, nullptr);
    watchId_ = 0;
}

// Drops everything tied to one appearance of the app on the bus.
void FaceClient::forget() {
    if (connection_ != nullptr) {
        if (changedSubscription_ != 0)
            g_dbus_connection_signal_unsubscribe(connection_, changedSubscription_);
        if (itemsSubscription_ != 0)
            g_dbus_connection_signal_unsubscribe(connection_, itemsSubscription_);
        g_object_unref(connection_);
    }
    connection_ = nullptr;
    changedSubscription_ = itemsSubscription_ = 0;
    owner_.clear();
    listed_ = false;
    watchInFlight_ = false;
    watchId_ = 0;
    clearFace();
}

void FaceClient::applyChanges(GVariant* changes) {
    bool changed = false;
    const char* text = nullptr;
    if (g_variant_lookup(changes, "text", "&s", &text)) {
        face_.text = text;
        changed = true;
    }
    gint32 width = face_.width, height = face_.height;
    g_variant_lookup(changes, "width", "i", &width);
    g_variant_lookup(changes, "height", "i", &height);
    if (GVariant* pixels = g_variant_lookup_value(changes, "pixels", G_VARIANT_TYPE_BYTESTRING)) {
        if (setPixels(width, height, pixels))
            changed = true;
        g_variant_unref(pixels);
    }
    if (changed && changed_)
        changed_();
}

// Copies the app's ARGB32 premultiplied rows (host byte order, as cairo keeps them) into a
// surface of ceil(width * scale) x ceil(height * scale) pixels. Refuses a mismatched size.
bool FaceClient::setPixels(int width, int height, GVariant* pixels) {
    const double scale = watched_.scale;
    const int pixelWidth = static_cast<int>(std::ceil(width * scale - 1e-9));
    const int pixelHeight = static_cast<int>(std::ceil(height * scale - 1e-9));
    gsize size = 0;
    const auto* bytes = static_cast<const guint8*>(g_variant_get_fixed_array(pixels, &size, 1));
    if (width <= 0 || height <= 0 || pixelWidth > 8192 || pixelHeight > 8192 ||
        size != static_cast<gsize>(pixelWidth) * pixelHeight * 4)
        return false;
    cairo_surface_t* surface =
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pixelWidth, pixelHeight);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(surface);
        return false;
    }
    cairo_surface_flush(surface);
    unsigned char* data = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    for (int y = 0; y < pixelHeight; ++y)
        std::memcpy(data + static_cast<size_t>(y) * stride,
                    bytes + static_cast<size_t>(y) * pixelWidth * 4,
                    static_cast<size_t>(pixelWidth) * 4);
    cairo_surface_mark_dirty(surface);
    cairo_surface_set_device_scale(surface, scale, scale);
    if (face_.surface != nullptr)
        cairo_surface_destroy(face_.surface);
    face_.surface = surface;
    face_.width = width;
    face_.height = height;
    return true;
}

void FaceClient::clearFace() {
    if (face_.surface != nullptr)
        cairo_surface_destroy(face_.surface);
    face_ = Face{};
}

} // namespace lumenstat::xfce
