#pragma once

#include <cstdint>

// The display styles of the network status item; the integer is what the setting
// "app.netMenu.boxType" stores and what each style reports as its own type.
enum class BoxType : int {
    compact = 0,
    wide = 1,
    luxury = 2,
    stock = 3,
    solo = 4,
    doubleSolo = 5,
    icon = 6,
    large = 7,
    largeWithCPU = 8,
    largeWithStock = 9,
    cpu = 10,
    storage = 11,
    unspecified = 12,
    // The classic family, kept beside the current styles and chosen through the same setting.
    menuBox = 20,
    menuCompactBox = 21,
    menuWideBox = 22,
    menuLuxuryBox = 23,
    menuStockBox = 24,
    menuIconBox = 25,
    menuSoloBox = 26,
    menuDoubleSoloBox = 27,
};

inline constexpr int kBoxTypeCount = 13;
inline constexpr double kMenuBarHeight = 22.0;

inline bool isClassicBoxType(BoxType type) {
    return static_cast<int>(type) >= static_cast<int>(BoxType::menuBox) &&
           static_cast<int>(type) <= static_cast<int>(BoxType::menuDoubleSoloBox);
}

// A stored style number, taken as unsigned: 13 or more (every negative value too) is compact,
// except the classic family's 20 ... 27.
inline BoxType boxTypeFromStored(int64_t stored) {
    if (stored >= 20 && stored <= 27)
        return static_cast<BoxType>(stored);
    if (static_cast<uint64_t>(stored) >= static_cast<uint64_t>(kBoxTypeCount))
        return BoxType::compact;
    return static_cast<BoxType>(stored);
}

// The style classes' default widths in points.
inline double defaultWidthForBoxType(BoxType type) {
    switch (type) {
    case BoxType::compact:
        return 48;
    case BoxType::wide:
    case BoxType::luxury:
        return 124;
    case BoxType::stock:
        return 104;
    case BoxType::solo:
        return 32;
    case BoxType::doubleSolo:
        return 92;
    case BoxType::icon:
        return 22;
    case BoxType::large:
        return 132;
    case BoxType::largeWithCPU:
        return 156;
    case BoxType::largeWithStock:
        return 112;
    case BoxType::cpu:
        return 82;
    case BoxType::storage:
        return 66;
    case BoxType::menuBox:
        return 52;
    case BoxType::menuCompactBox:
        return 48;
    case BoxType::menuWideBox:
    case BoxType::menuLuxuryBox:
    case BoxType::menuStockBox:
        return 124;
    case BoxType::menuIconBox:
        return 22;
    case BoxType::menuSoloBox:
        return 32;
    case BoxType::menuDoubleSoloBox:
        return 92;
    case BoxType::unspecified:
        break;
    }
    return 80;
}

// The ten styles the settings page offers for the network item, in its order.
inline constexpr BoxType kOfferedNetworkStyles[] = {
    BoxType::icon,         BoxType::compact,        BoxType::wide,       BoxType::luxury,
    BoxType::stock,        BoxType::solo,           BoxType::doubleSolo, BoxType::large,
    BoxType::largeWithCPU, BoxType::largeWithStock,
};

// The classic styles, selectable through the same setting.
inline constexpr BoxType kClassicNetworkStyles[] = {
    BoxType::menuBox,       BoxType::menuCompactBox,    BoxType::menuWideBox,
    BoxType::menuLuxuryBox, BoxType::menuStockBox,      BoxType::menuIconBox,
    BoxType::menuSoloBox,   BoxType::menuDoubleSoloBox,
};
