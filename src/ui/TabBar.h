#pragma once

#include <QWidget>

#include <functional>
#include <vector>

class TabBarButton;

// The 52-point bar along the bottom of the tab page: its buttons side by side in equal
// widths under a hairline. Pressing a button selects it and reports its index.
class TabBar : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 52;

    explicit TabBar(QWidget* parent = nullptr);

    // Called with the index of the button the user pressed.
    std::function<void(int)> selectedItemDidChangeHandler;
    const std::vector<TabBarButton*>& items() const { return items_; }
    void addItem(TabBarButton* item);
    // Marks the button at index as selected (does not call the handler).
    void setSelectedIndex(int index);
    int selectedIndex() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void layoutItems();
    std::vector<TabBarButton*> items_;
};
