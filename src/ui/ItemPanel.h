#pragma once

#include "PanelPlacement.h"

#include <QObject>
#include <QPoint>
#include <QPointer>
#include <QSize>

#include <functional>

class MenuPopoverWindowController;
class QWidget;

// The panel of a status item other than the network item: the panel window with one page,
// made on the first showing and kept.
class ItemPanel : public QObject {
    Q_OBJECT
public:
    // makePage builds the page on first use; contentSize is the window's content size then.
    ItemPanel(std::function<QWidget*()> makePage, QSize contentSize, QObject* parent = nullptr);
    ~ItemPanel() override;

    void toggleAt(QPoint point, PanelEdge edge = PanelEdge::Unknown);
    bool isShown() const;
    // The page, made when missing.
    QWidget* page();
    // Changes the content height of a made window (the page grew or shrank).
    void setContentHeight(int height);

    MenuPopoverWindowController* windowController() const { return controller_; }

private:
    std::function<QWidget*()> makePage_;
    QSize contentSize_;
    MenuPopoverWindowController* controller_;
    QPointer<QWidget> page_;
};
