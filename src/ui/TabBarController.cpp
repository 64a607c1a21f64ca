#include "TabBarController.h"

#include "TabBar.h"
#include "TabBarButton.h"
#include "TitleView.h"
#include "settings/Language.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

TabBarController::TabBarController(std::array<QWidget*, 2> pages, QWidget* parent)
    : TransitionController(parent), viewControllers_(pages), tabBar_(new TabBar(this)) {
    setObjectName("TabBarController");
    titleView()->hide();
    for (QWidget* page : viewControllers_) {
        page->setParent(this);
        if (auto* sliding = qobject_cast<TransitionController*>(page)) {
            sliding->tabBarController = this;
            sliding->titleView()->backHandler = [this] { dismiss(); };
        }
    }
    tabBar_->addItem(new TabBarButton(Language::getLocalizedString("batteryHealth.title"),
                                      "bolt_heart_fill_30", QSize(24, 24)));
    tabBar_->addItem(new TabBarButton(Language::getLocalizedString("batteryHistory.title"),
                                      "clock_fill_30", QSize(22, 22)));
    tabBar_->selectedItemDidChangeHandler = [this](int index) { select(index); };

    const int64_t stored =
        SettingsDomain::standard().integerValue(SettingsKey::TabBarSelectedViewController);
    showPage(stored == 1 ? 1 : 0);
}

void TabBarController::select(int index) {
    showPage(index);
    SettingsDomain::standard().setInteger(SettingsKey::TabBarSelectedViewController,
                                          selectedIndex_);
}

void TabBarController::showPage(int index) {
    selectedIndex_ = index == 1 ? 1 : 0;
    for (int i = 0; i < 2; ++i)
        viewControllers_[i]->setVisible(i == selectedIndex_);
    tabBar_->setSelectedIndex(selectedIndex_);
}

void TabBarController::layoutContent() {
    const QRect area = contentRect();
    for (QWidget* page : viewControllers_)
        page->setGeometry(area.adjusted(0, 0, 0, -TabBar::kHeight));
    tabBar_->setGeometry(area.left(), area.bottom() + 1 - TabBar::kHeight, area.width(),
                         TabBar::kHeight);
}
