#pragma once

#include "ui/PanelPlacement.h"

#include <QPoint>
#include <QString>

class FaceService;
class ItemPanel;

// The battery, CPU and storage items of the tray app: their panels, their clicks and their
// faces for the panel plug-ins.
namespace ItemPanels {

// The battery item's panel (the health view and the item's two switches).
ItemPanel& battery();
// The storage item's panel.
ItemPanel& storage();

// Connects the items' clicks to their panels (once).
void connectItems();
// A click on a face of kind ("battery", "storage"; "cpu" has no panel) at point. False for
// a kind without a panel.
bool toggleAt(const QString& kind, QPoint point, PanelEdge edge);

// Publishes each item's face on faces while the item is shown; null disconnects.
void connectFaces(FaceService* faces);

} // namespace ItemPanels
