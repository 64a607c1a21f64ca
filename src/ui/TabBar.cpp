#include "TabBar.h"

#include "TabBarButton.h"
#include "settings/DynamicAppearance.h"

#include <QPainter>

TabBar::TabBar(QWidget* parent) : QWidget(parent) {
    setFixedHeight(kHeight);
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
}

void TabBar::addItem(TabBarButton* item) {
    item->setParent(this);
    const int index = static_cast<int>(items_.size());
    item->tapHandler = [this, index] {
        setSelectedIndex(index);
        if (selectedItemDidChangeHandler)
            selectedItemDidChangeHandler(index);
    };
    items_.push_back(item);
    item->show();
    layoutItems();
}

void TabBar::setSelectedIndex(int index) {
    for (size_t i = 0; i < items_.size(); ++i)
        items_[i]->setSelected(static_cast<int>(i) == index);
}

int TabBar::selectedIndex() const {
    for (size_t i = 0; i < items_.size(); ++i)
        if (items_[i]->isSelected())
            return static_cast<int>(i);
    return -1;
}

void TabBar::resizeEvent(QResizeEvent*) {
    layoutItems();
}

void TabBar::layoutItems() {
    const int n = static_cast<int>(items_.size());
    for (int i = 0; i < n; ++i) {
        const int left = width() * i / n;
        const int right = width() * (i + 1) / n;
        items_[i]->setGeometry(left, 0, right - left, height());
    }
}

void TabBar::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(QRect(0, 0, width(), 1), DynamicColor::dynamicSeparatorColor());
}
