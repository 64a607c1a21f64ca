#pragma once

#include <QAbstractButton>

// An on/off switch: a rounded track in the accent colour when on, with a round knob.
class ToggleSwitch : public QAbstractButton {
    Q_OBJECT
public:
    explicit ToggleSwitch(QWidget* parent = nullptr);
    QSize sizeHint() const override { return QSize(36, 20); }

protected:
    void paintEvent(QPaintEvent* event) override;
};
