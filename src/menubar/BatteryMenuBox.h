#pragma once

#include "NetMenuBox.h"

#include <QImage>
#include <QString>

// The battery item's drawing: the battery picture at the charge level's step, optionally
// after the percentage. Monochrome in the bar's text colour unless the coloured picture is
// asked for.
class BatteryMenuBox : public NetMenuBox {
    Q_OBJECT
public:
    // Item lengths with and without the percentage.
    static constexpr double kWidthWithPercentage = 60;
    static constexpr double kWidthPictureOnly = 28;
    // The picture is scaled to this height.
    static constexpr double kPictureHeight = 15;
    static constexpr double kPictureWidth = 27;

    double defaultWidth() const override {
        return showsPercentage ? kWidthWithPercentage : kWidthPictureOnly;
    }
    BoxType boxType() const override { return BoxType::unspecified; }

    // The step of the picture set a percentage shows: 100, 95, ..., 25, 20, 10 or 0.
    static int levelFor(int64_t percentage);
    // The picture's name: "battery_" level appearance ["_charging"].
    static QString iconName(int64_t percentage, bool charging, bool dark);

    // What to show; set() redraws when anything changed.
    struct State {
        int64_t percentage = 0;
        bool charging = true; // without a report: the empty charging picture
        bool showsPercentage = false;
        bool coloured = false;
        bool operator==(const State&) const = default;
    };
    void set(const State& state);
    const State& state() const { return state_; }
    bool showsPercentage = false;

    // The picture's frame in the item.
    QRectF pictureRect() const;
    // The picture alone for a square icon of pixels in colour (monochrome) or its own colours.
    static QImage squarePicture(int pixels, const QColor& colour, const State& state);
    // "87%".
    QString percentageText() const;

protected:
    void drawContent(QPainter& p) const override;
    std::optional<std::vector<const MenuLabel*>> drawnLabels() const override;

private:
    static void drawPicture(QPainter& p, const QRectF& target, const State& state,
                            const QColor& ink);
    State state_;
    MenuLabel label_;
};
