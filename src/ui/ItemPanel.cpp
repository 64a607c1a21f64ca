#include "ItemPanel.h"

#include "ContentViewController.h"
#include "MenuPopoverWindow.h"
#include "MenuPopoverWindowController.h"

#include <QWidget>

ItemPanel::ItemPanel(std::function<QWidget*()> makePage, QSize contentSize, QObject* parent)
    : QObject(parent), makePage_(std::move(makePage)), contentSize_(contentSize),
      controller_(new MenuPopoverWindowController(this)) {
    controller_->contentSize = [this] { return contentSize_; };
}

ItemPanel::~ItemPanel() = default;

QWidget* ItemPanel::page() {
    if (!page_) {
        page_ = makePage_();
        controller_->embedViewController = page_;
    }
    return page_;
}

void ItemPanel::toggleAt(QPoint point, PanelEdge edge) {
    page();
    controller_->toggleAt(point, edge);
}

bool ItemPanel::isShown() const {
    return controller_->isShown();
}

void ItemPanel::setContentHeight(int height) {
    contentSize_.setHeight(height);
    if (!controller_->hasWindow())
        return;
    MenuPopoverWindow* w = controller_->window();
    w->setPanelContentSize(contentSize_);
    if (ContentViewController* content = controller_->contentViewController())
        content->setGeometry(w->rect());
}
