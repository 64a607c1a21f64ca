#pragma once

#include "menubar/BoxType.h"

#include <QWidget>

#include <memory>
#include <vector>

class ActivityObject;
class NetMenuBox;
class QButtonGroup;
class QLabel;
class QRadioButton;

// Every offered network style as a choice, each drawn by the tray item's own renderer with
// the current speeds, at its size in the panel (1x) and at double pixel density shown twice
// as large (2x). The list is the one the styles are defined with, so a new style appears
// here by itself.
class NetworkStylePicker : public QWidget {
    Q_OBJECT
public:
    explicit NetworkStylePicker(QWidget* parent = nullptr);
    ~NetworkStylePicker() override;

    // The choices' buttons; a button's id is its index in types().
    QButtonGroup* group() const { return group_; }
    const std::vector<BoxType>& types() const { return types_; }
    // The style's name in the interface language.
    static QString styleTitle(BoxType type);

    // Feeds every preview one record and draws them again.
    void activityDidUpdate(const ActivityObject& activity);
    // The last drawn previews of the i-th style (1x, 2x).
    QImage preview(int i, int scale) const;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void redraw();

    QButtonGroup* group_;
    std::vector<BoxType> types_;
    std::vector<std::unique_ptr<NetMenuBox>> boxes_;
    std::vector<QLabel*> small_;
    std::vector<QLabel*> large_;
};
