#pragma once

#include "TransitionController.h"

#include <array>

class TabBar;

// A sliding page with two tabs (battery health and battery history): the selected tab's page
// fills the page above the 52-point tab bar. The page hides its own title bar; the tabs'
// pages bring theirs, and their back buttons dismiss the whole tab page. The selected tab is
// kept under "app.tabBar.selectedViewController" (1: the second tab, anything else the first).
class TabBarController : public TransitionController {
    Q_OBJECT
public:
    // Takes ownership of the two pages.
    explicit TabBarController(std::array<QWidget*, 2> pages, QWidget* parent = nullptr);

    const std::array<QWidget*, 2>& viewControllers() const { return viewControllers_; }
    QWidget* selectedViewController() const { return viewControllers_[selectedIndex_]; }
    int selectedIndex() const { return selectedIndex_; }
    TabBar* tabBar() const { return tabBar_; }

    // Shows the page at index (0 or 1), hides the other and stores the choice.
    void select(int index);

protected:
    void layoutContent() override;

private:
    void showPage(int index);

    std::array<QWidget*, 2> viewControllers_;
    TabBar* tabBar_;
    int selectedIndex_ = 0;
};
