#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>
#include <QString>

#include <optional>

// The screen edge the panel (or tray) that was clicked sits on.
enum class PanelEdge { Unknown, Top, Bottom, Left, Right };

// "top", "bottom", "left", "right" (any case); Unknown for anything else.
PanelEdge panelEdgeFromName(const QString& name);

// Where the panel window hangs from a click.
//
// point is where the host says the click happened: for a tray item the pointer or the
// item's position, for a panel plug-in the middle of the plug-in's edge that faces the
// screen. bar is the frame of the panel window the point lies in, when known. The window
// hangs 152 points left of the point below a top panel (above a bottom one, beside a side
// one) and is kept inside the screen's available area.
struct PanelPlacement {
    static constexpr int kHangOffset = 152;
    // Beside a side panel the window starts this far above the point.
    static constexpr int TopMarginBeside = 20;

    // The panel's edge: the one given, else the bar's side of the screen, else the screen
    // edge nearest the point.
    static PanelEdge resolveEdge(PanelEdge given, QPoint point, const std::optional<QRect>& bar,
                                 const QRect& screen);
    // The window's top-left corner.
    static QPoint origin(QPoint point, PanelEdge given, const std::optional<QRect>& bar,
                         QSize windowSize, const QRect& screen, const QRect& available);
};
