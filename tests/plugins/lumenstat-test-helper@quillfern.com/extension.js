/* Test-only: the shell under test starts in the overview, which hides the top bar's status
 * area; close it. With LUMENSTAT_FACE_MARKER in the environment, every face's box gets a
 * magenta backing (the faces draw over it), so a screenshot shows the box's exact extent. */
'use strict';

const {GLib, St} = imports.gi;
const Main = imports.ui.main;
const ExtensionUtils = imports.misc.extensionUtils;

class Extension {
    enable() {
        // The overview opens at the end of the start-up animation, possibly after this runs.
        this._shownId = Main.overview.connect('shown', () => Main.overview.hide());
        this._startId = Main.layoutManager.connect('startup-complete', () => Main.overview.hide());
        Main.overview.hide();
        if (GLib.getenv('LUMENSTAT_FACE_MARKER')) {
            this._marker = ExtensionUtils.getCurrentExtension().dir.get_child('marker.css');
            St.ThemeContext.get_for_stage(global.stage).get_theme().load_stylesheet(this._marker);
        }
    }

    disable() {
        Main.overview.disconnect(this._shownId);
        Main.layoutManager.disconnect(this._startId);
        if (this._marker)
            St.ThemeContext.get_for_stage(global.stage).get_theme().unload_stylesheet(this._marker);
        this._marker = null;
    }
}

// eslint-disable-next-line no-unused-vars
function init() {
    return new Extension();
}
