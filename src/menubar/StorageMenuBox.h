#pragma once

#include "NetMenuBox.h"

// The storage item's style: the used (or free) share of the home volume as "42 %" with a
// ring gauge at the right end.
class Storage : public NetMenuBox {
    Q_OBJECT
public:
    static constexpr double kDefaultWidth = 66;
    static constexpr double kRingBox = 22;
    static constexpr const char* DisplayTypeDidChangeNotification =
        "MenuBarStorageDisplayTypeDidChangeNotificationName";

    enum class MenuBarStorageDisplayType { used, available };

    Storage();
    double defaultWidth() const override { return kDefaultWidth; }
    BoxType boxType() const override { return BoxType::storage; }
    void update(const ActivityObject& activity) override;
    // Takes the used share from the storage provider; rewrites the text and redraws when
    // the whole percent shown changed or force is set. A volume that cannot be read shows
    // "--" and an empty ring.
    void refresh(bool force);
    // "1" means available, anything else used.
    static MenuBarStorageDisplayType displayTypeFromStored(int64_t stored);

    MenuBarStorageDisplayType storageDisplay = MenuBarStorageDisplayType::used;
    MenuLabel textLabel;
    double precentage = 0; // the last used share taken
    int labelWrites = 0;

    // The share the ring and the text show (used or available), 0 ... 1; absent when the
    // volume could not be read. Both draw it in whole percents.
    std::optional<double> shownFraction() const;
    // The ring's centre and radius.
    QPointF ringCentre() const;
    static constexpr double kRingRadius = 7;

protected:
    void drawContent(QPainter& p) const override;

private:
    void adaptWidth();
    bool readable_ = false;
    // The whole percent drawn, -1 for "--".
    int shownPercent_ = -2;
};
