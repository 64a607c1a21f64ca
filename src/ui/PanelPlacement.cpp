#include "PanelPlacement.h"

#include <algorithm>

PanelEdge panelEdgeFromName(const QString& name) {
    const QString n = name.trimmed().toLower();
    if (n == QLatin1String("top"))
        return PanelEdge::Top;
    if (n == QLatin1String("bottom"))
        return PanelEdge::Bottom;
    if (n == QLatin1String("left"))
        return PanelEdge::Left;
    if (n == QLatin1String("right"))
        return PanelEdge::Right;
    return PanelEdge::Unknown;
}

PanelEdge PanelPlacement::resolveEdge(PanelEdge given, QPoint point,
                                      const std::optional<QRect>& bar, const QRect& screen) {
    if (given != PanelEdge::Unknown)
        return given;
    const QPoint centre = screen.center();
    if (bar && bar->isValid()) {
        if (bar->width() >= bar->height())
            return bar->center().y() <= centre.y() ? PanelEdge::Top : PanelEdge::Bottom;
        return bar->center().x() <= centre.x() ? PanelEdge::Left : PanelEdge::Right;
    }
    const int toTop = point.y() - screen.top();
    const int toBottom = screen.bottom() - point.y();
    const int toLeft = point.x() - screen.left();
    const int toRight = screen.right() - point.x();
    const int nearest = std::min({toTop, toBottom, toLeft, toRight});
    if (nearest == toTop)
        return PanelEdge::Top;
    if (nearest == toBottom)
        return PanelEdge::Bottom;
    return nearest == toLeft ? PanelEdge::Left : PanelEdge::Right;
}

QPoint PanelPlacement::origin(QPoint point, PanelEdge given, const std::optional<QRect>& bar,
                              QSize windowSize, const QRect& screen, const QRect& available) {
    const PanelEdge edge = resolveEdge(given, point, bar, screen);
    // Without a known bar, a point inside the reserved strip of a panel (the available area
    // leaves it out) still hangs the window outside that strip.
    const bool knownBar = bar && bar->isValid() && given == PanelEdge::Unknown;
    int x = point.x() - kHangOffset;
    int y = point.y();
    switch (edge) {
    case PanelEdge::Top:
        y = knownBar ? bar->bottom() + 1 : std::max(point.y(), available.top());
        break;
    case PanelEdge::Bottom:
        y = (knownBar ? bar->top() : std::min(point.y(), available.bottom() + 1)) -
            windowSize.height();
        break;
    case PanelEdge::Left:
        x = knownBar ? bar->right() + 1 : std::max(point.x(), available.left());
        y = point.y() - TopMarginBeside;
        break;
    case PanelEdge::Right:
        x = (knownBar ? bar->left() : std::min(point.x(), available.right() + 1)) -
            windowSize.width();
        y = point.y() - TopMarginBeside;
        break;
    case PanelEdge::Unknown:
        break;
    }
    // Keep the whole window on the screen that holds the point (its area without panels
    // when the window fits there).
    const QRect bounds =
        (available.width() >= windowSize.width() && available.height() >= windowSize.height())
            ? available
            : screen;
    x = std::clamp(x, bounds.left(),
                   std::max(bounds.left(), bounds.right() + 1 - windowSize.width()));
    y = std::clamp(y, bounds.top(),
                   std::max(bounds.top(), bounds.bottom() + 1 - windowSize.height()));
    return QPoint(x, y);
}
