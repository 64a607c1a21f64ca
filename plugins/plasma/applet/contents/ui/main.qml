// One of Lumenstat's faces in a Plasma panel: the app's own rendering at the panel's
// thickness and text colour, at exactly the style's width. A click opens the app's panel
// beside the applet. Shows nothing while the app is not running.
import QtQuick 2.15
import QtQuick.Layouts 1.15
import QtQuick.Window 2.15
import org.kde.plasma.core 2.0 as PlasmaCore
import org.kde.plasma.plasmoid 2.0
import com.quillfern.lumenstat.face 1.0 as Lumenstat

Item {
    id: root

    // The package id ends in the item kind: com.quillfern.lumenstat.network -> "network".
    readonly property string itemKind: {
        const id = Plasmoid.pluginName;
        return id.substring(id.lastIndexOf(".") + 1);
    }
    readonly property bool vertical: Plasmoid.formFactor === PlasmaCore.Types.Vertical
    readonly property string edge: {
        switch (Plasmoid.location) {
        case PlasmaCore.Types.TopEdge: return "top";
        case PlasmaCore.Types.BottomEdge: return "bottom";
        case PlasmaCore.Types.LeftEdge: return "left";
        case PlasmaCore.Types.RightEdge: return "right";
        default: return "";
        }
    }

    // The context menu's way to the app's settings window.
    function action_lumenstatSettings() {
        if (Plasmoid.compactRepresentationItem)
            Plasmoid.compactRepresentationItem.showSettings();
    }
    // In the app's interface languages, picked from the desktop's locale as the app does.
    function settingsLabel() {
        const name = Qt.locale().name.toLowerCase();
        if (name.startsWith("zh"))
            return /(tw|hk|mo|hant)/.test(name) ? "Lumenstat 設定…" : "Lumenstat 设置…";
        if (name.startsWith("de"))
            return "Lumenstat-Einstellungen…";
        if (name.startsWith("ja"))
            return "Lumenstat の設定…";
        return "Lumenstat Settings…";
    }
    Component.onCompleted: Plasmoid.setAction("lumenstatSettings", settingsLabel(), "configure")

    Plasmoid.preferredRepresentation: Plasmoid.compactRepresentation
    Plasmoid.backgroundHints: PlasmaCore.Types.NoBackground

    Plasmoid.compactRepresentation: Lumenstat.Face {
        id: face

        item: root.itemKind
        textColor: PlasmaCore.ColorScope.textColor
        vertical: root.vertical
        panelThickness: root.vertical ? width : height
        devicePixelRatio: Screen.devicePixelRatio

        // Exactly the face's size along the panel: a fixed-width style never jumps.
        Layout.minimumWidth: root.vertical ? -1 : implicitWidth
        Layout.preferredWidth: root.vertical ? -1 : implicitWidth
        Layout.maximumWidth: root.vertical ? Infinity : implicitWidth
        Layout.minimumHeight: root.vertical ? implicitHeight : -1
        Layout.preferredHeight: root.vertical ? implicitHeight : -1
        Layout.maximumHeight: root.vertical ? implicitHeight : Infinity

        MouseArea {
            anchors.fill: parent
            onClicked: face.showPanel(root.edge)
        }
    }
}
