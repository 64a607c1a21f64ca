/* Lumenstat's faces in GNOME Shell's top bar.
 *
 * The running app draws every item (network speeds, and later battery, CPU and storage) and
 * publishes the pictures on the session bus (com.quillfern.Lumenstat, interface
 * com.quillfern.Lumenstat.Face). This extension is a thin view over them: one top-bar button
 * per item the app lists, showing the app's pixels 1:1 at the shell's scale and in the bar's
 * own text colour. It never polls: a picture changes only when the app says so (Changed), and
 * while the app is not running nothing is shown. A click asks the app to open its panel under
 * the button; a right click shows a menu with the app's settings.
 */
'use strict';

const {Clutter, Cogl, Gio, GLib, GObject, St} = imports.gi;
const Main = imports.ui.main;
const PanelMenu = imports.ui.panelMenu;
const PopupMenu = imports.ui.popupMenu;

const BUS_NAME = 'com.quillfern.Lumenstat';
const OBJECT_PATH = '/';
const FACE_INTERFACE = 'com.quillfern.Lumenstat.Face';
const APP_INTERFACE = 'com.quillfern.Lumenstat';

// ARGB32 words in this machine's byte order, as the app sends them.
const PIXEL_FORMAT = new Uint8Array(new Uint32Array([1]).buffer)[0] === 1
    ? Cogl.PixelFormat.BGRA_8888_PRE : Cogl.PixelFormat.ARGB_8888_PRE;

// The menu entry in the app's interface languages, picked like the app picks its own.
const SETTINGS_LABELS = {
    de: 'Lumenstat-Einstellungen…',
    ja: 'Lumenstat の設定…',
    'zh-Hans': 'Lumenstat 设置…',
    'zh-Hant': 'Lumenstat 設定…',
};

function settingsLabel() {
    for (const name of GLib.get_language_names()) {
        const lower = name.toLowerCase();
        if (lower.startsWith('zh'))
            return /(tw|hk|mo|hant)/.test(lower) ? SETTINGS_LABELS['zh-Hant'] : SETTINGS_LABELS['zh-Hans'];
        const language = lower.split(/[_.@]/)[0];
        if (language in SETTINGS_LABELS)
            return SETTINGS_LABELS[language];
        if (language === 'en' || language === 'c')
            break;
    }
    return 'Lumenstat Settings…';
}

function scaleFactor() {
    return St.ThemeContext.get_for_stage(global.stage).scale_factor;
}

function argb(colour) {
    return ((colour.alpha << 24) | (colour.red << 16) | (colour.green << 8) | colour.blue) >>> 0;
}

function isCancelled(error) {
    return error instanceof GLib.Error &&
        error.matches(Gio.IOErrorEnum, Gio.IOErrorEnum.CANCELLED);
}

// One item's face: a panel button holding the app's picture at its own size.
const FaceButton = GObject.registerClass(
class LumenstatFaceButton extends PanelMenu.Button {
    _init(item, session) {
        super._init(0.5, `Lumenstat ${item}`, false);
        this._item = item;
        this._session = session;
        this._watchId = 0;
        this._request = null;
        this._generation = 0;
        this._width = 0;
        this._height = 0;
        this._pixelWidth = 0;
        this._pixelHeight = 0;

        this.add_style_class_name('lumenstat-button');
        this._image = new Clutter.Actor({content: new Clutter.Image()});
        // Centred at its own size both ways: in a crowded bar the button may get a little
        // more width than it asked for (it trades its padding for room), and a filling face
        // would be stretched out of its pixels.
        this._face = new St.Bin({
            style_class: 'lumenstat-face',
            x_align: Clutter.ActorAlign.CENTER,
            y_align: Clutter.ActorAlign.CENTER,
            child: this._image,
        });
        this.add_child(this._face);
        const settings = new PopupMenu.PopupMenuItem(settingsLabel());
        settings.connect('activate', () => this._session.call(APP_INTERFACE, 'ShowSettings',
            null, null, () => {}, error => logError(error, 'Lumenstat: ShowSettings')));
        this.menu.addMenuItem(settings);
        // Empty until the first picture arrives.
        this._face.hide();

        this.connect('style-changed', () => this._rewatch());
        this._scaleId = St.ThemeContext.get_for_stage(global.stage)
            .connect('notify::scale-factor', () => this._rewatch());
        this.connect('destroy', () => this._onDestroy());
    }

    get item() {
        return this._item;
    }

    get watchId() {
        return this._watchId;
    }

    // What the face is asked for: the bar's thickness and scale, and the button's text colour
    // (the top bar is dark in every scheme, so this is a light colour).
    _arguments() {
        const scale = scaleFactor();
        const barHeight = Math.floor(Main.panel.height / scale) || 22;
        const height = Math.max(8, Math.min(512, barHeight));
        const colour = this.get_stage() ? argb(this.get_theme_node().get_foreground_color()) : 0;
        return {height, scale, colour};
    }

    // Watches the face with the current arguments, dropping an older watch when they changed.
    _rewatch() {
        if (!this.get_stage())
            return;
        const args = this._arguments();
        const last = this._request;
        if (last && last.height === args.height && last.scale === args.scale &&
            last.colour === args.colour)
            return;
        this._request = args;
        this._unwatch();
        const generation = ++this._generation;
        this._session.call(FACE_INTERFACE, 'Watch',
            new GLib.Variant('(sidu)', [this._item, args.height, args.scale, args.colour]),
            '(uiiays)', reply => {
                if (generation !== this._generation)
                    return;
                this._watchId = reply.get_child_value(0).get_uint32();
                this._session.faceWatched(this);
                this._setPicture(reply.get_child_value(1).get_int32(),
                    reply.get_child_value(2).get_int32(), reply.get_child_value(3),
                    reply.get_child_value(4).get_string()[0]);
            }, error => {
                if (generation === this._generation)
                    logError(error, `Lumenstat: watching the ${this._item} face`);
            });
    }

    _unwatch() {
        if (!this._watchId)
            return;
        this._session.faceUnwatched(this);
        this._session.send(FACE_INTERFACE, 'Unwatch', new GLib.Variant('(u)', [this._watchId]));
        this._watchId = 0;
    }

    // A Changed signal for this face: only the keys that changed are present.
    changed(dict) {
        const value = (key, type) => dict.lookup_value(key, new GLib.VariantType(type));
        const width = value('width', 'i');
        const height = value('height', 'i');
        const pixels = value('pixels', 'ay');
        const text = value('text', 's');
        if (pixels) {
            this._setPicture(width ? width.get_int32() : this._width,
                height ? height.get_int32() : this._height, pixels, null);
        }
        if (text)
            this._setText(text.get_string()[0]);
    }

    _setPicture(width, height, pixels, text) {
        this._width = width;
        this._height = height;
        const scale = this._request ? this._request.scale : scaleFactor();
        const pixelWidth = Math.ceil(width * scale);
        const pixelHeight = Math.ceil(height * scale);
        const bytes = pixels.get_data_as_bytes();
        if (pixelWidth > 0 && pixelHeight > 0 && bytes.get_size() === pixelWidth * pixelHeight * 4) {
            this._image.content.set_bytes(bytes, PIXEL_FORMAT, pixelWidth, pixelHeight,
                pixelWidth * 4);
            if (pixelWidth !== this._pixelWidth || pixelHeight !== this._pixelHeight) {
                this._pixelWidth = pixelWidth;
                this._pixelHeight = pixelHeight;
                this._image.set_size(pixelWidth, pixelHeight);
            }
            this._face.show();
        }
        if (text !== null)
            this._setText(text);
    }

    _setText(text) {
        this.accessible_name = text;
    }

    vfunc_event(event) {
        const type = event.type();
        if (type === Clutter.EventType.BUTTON_PRESS && event.get_button() === Clutter.BUTTON_SECONDARY) {
            this.menu.toggle();
            return Clutter.EVENT_STOP;
        }
        if (type === Clutter.EventType.BUTTON_PRESS || type === Clutter.EventType.TOUCH_BEGIN) {
            this.menu.close();
            this._showPanel();
            return Clutter.EVENT_STOP;
        }
        return super.vfunc_event(event);
    }

    // The app hangs its panel from the middle of the button's lower edge.
    _showPanel() {
        const scale = scaleFactor();
        const [x, y] = this.get_transformed_position();
        const [width, height] = this.get_transformed_size();
        const args = [Math.round((x + width / 2) / scale), Math.round((y + height) / scale), 'top'];
        // The network face opens the app's main panel; the other kinds open their own.
        const [method, params] = this._item === 'network'
            ? ['ShowPanel', new GLib.Variant('(iis)', args)]
            : ['ShowItemPanel', new GLib.Variant('(siis)', [this._item, ...args])];
        this._session.call(APP_INTERFACE, method, params, null,
            () => {}, error => logError(error, `Lumenstat: ${method}`));
    }

    _onDestroy() {
        ++this._generation;
        this._unwatch();
        St.ThemeContext.get_for_stage(global.stage).disconnect(this._scaleId);
    }
});

// The app while it runs: its items in the top bar, fed by its Changed signals. Ends when the
// app leaves the bus or the extension is disabled.
class FaceSession {
    constructor(owner) {
        this._owner = owner;
        this._cancellable = new Gio.Cancellable();
        this._ended = false;
        this._buttons = new Map();
        this._byWatch = new Map();
        const bus = Gio.DBus.session;
        this._subscriptions = [
            bus.signal_subscribe(owner, FACE_INTERFACE, 'Changed', OBJECT_PATH, null,
                Gio.DBusSignalFlags.NONE, (...args) => this._onChanged(args[5])),
            bus.signal_subscribe(owner, FACE_INTERFACE, 'ItemsChanged', OBJECT_PATH, null,
                Gio.DBusSignalFlags.NONE,
                (...args) => this._setItems(args[5].get_child_value(0).get_strv())),
        ];
        this.call(FACE_INTERFACE, 'Items', null, '(as)',
            reply => this._setItems(reply.get_child_value(0).get_strv()),
            error => logError(error, 'Lumenstat: Items'));
    }

    // An asynchronous call to the app; replies that arrive after the session ended are dropped.
    call(iface, method, parameters, replyType, onReply, onError) {
        Gio.DBus.session.call(this._owner, OBJECT_PATH, iface, method, parameters,
            replyType ? new GLib.VariantType(replyType) : null, Gio.DBusCallFlags.NO_AUTO_START, -1,
            this._cancellable, (bus, result) => {
                let reply;
                try {
                    reply = bus.call_finish(result);
                } catch (error) {
                    if (!isCancelled(error))
                        onError(error);
                    return;
                }
                onReply(reply);
            });
    }

    // A call whose answer does not matter; it goes out even when the session ends right after.
    send(iface, method, parameters) {
        if (this._ended)
            return;
        Gio.DBus.session.call(this._owner, OBJECT_PATH, iface, method, parameters, null,
            Gio.DBusCallFlags.NO_AUTO_START, -1, null, (bus, result) => {
                try {
                    bus.call_finish(result);
                } catch (error) {
                    // The app may have gone meanwhile.
                }
            });
    }

    faceWatched(button) {
        this._byWatch.set(button.watchId, button);
    }

    faceUnwatched(button) {
        if (this._byWatch.get(button.watchId) === button)
            this._byWatch.delete(button.watchId);
    }

    _onChanged(parameters) {
        const button = this._byWatch.get(parameters.get_child_value(0).get_uint32());
        if (button)
            button.changed(parameters.get_child_value(1));
    }

    // Buttons for the listed items in the listed order, at the left end of the bar's right side.
    _setItems(items) {
        for (const [item, button] of this._buttons) {
            if (!items.includes(item)) {
                this._buttons.delete(item);
                button.destroy();
            }
        }
        items.forEach((item, index) => {
            let button = this._buttons.get(item);
            if (!button) {
                button = new FaceButton(item, this);
                this._buttons.set(item, button);
                Main.panel.addToStatusArea(`lumenstat-${item}`, button, index, 'right');
                button._rewatch();
            } else {
                Main.panel._rightBox.set_child_at_index(button.container, index);
            }
        });
    }

    // appGone: the app left the bus, so there is nobody to unwatch from.
    destroy(appGone) {
        this._ended = appGone;
        const bus = Gio.DBus.session;
        this._subscriptions.forEach(id => bus.signal_unsubscribe(id));
        this._subscriptions = [];
        // Unwatch calls go out before the cancellable stops their replies.
        for (const button of this._buttons.values())
            button.destroy();
        this._buttons.clear();
        this._byWatch.clear();
        this._cancellable.cancel();
    }
}

class Extension {
    enable() {
        this._session = null;
        this._nameWatch = Gio.bus_watch_name_on_connection(Gio.DBus.session, BUS_NAME,
            Gio.BusNameWatcherFlags.NONE,
            (connection, name, owner) => {
                this._endSession(true);
                this._session = new FaceSession(owner);
            },
            () => this._endSession(true));
    }

    disable() {
        Gio.bus_unwatch_name(this._nameWatch);
        this._nameWatch = 0;
        this._endSession(false);
    }

    _endSession(appGone) {
        if (this._session) {
            this._session.destroy(appGone);
            this._session = null;
        }
    }
}

// eslint-disable-next-line no-unused-vars
function init() {
    return new Extension();
}
