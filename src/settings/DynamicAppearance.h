#pragma once

#include <QColor>
#include <QImage>
#include <QObject>
#include <QString>

#include <array>
#include <functional>
#include <memory>
#include <vector>

class AppearanceSource;
struct Notification;

// An appearance source with a fixed answer that can be flipped by hand (tests, the
// style renderer's --dark, headless runs).
class FixedAppearanceSource;

// The palette every drawn colour comes from. It knows whether the desktop is dark or light
// and which accent colour the user picked; each colour request answers for the current
// appearance. On a change it posts "appleInterfaceDidChange" and then calls every hook.
class DynamicAppearance : public QObject {
    Q_OBJECT
public:
    using Hook = std::function<void(bool isDark)>;

    static constexpr const char* DidChangeNotification = "appleInterfaceDidChange";
    static constexpr const char* DarkName = "lumenstat.appearance.vibrantDark";
    static constexpr const char* LightName = "lumenstat.appearance.vibrantLight";

    // The process-wide palette, fed by the desktop portal on the session bus.
    static DynamicAppearance& shared();
    explicit DynamicAppearance(std::shared_ptr<AppearanceSource> source, QObject* parent = nullptr);
    ~DynamicAppearance() override;

    // Hooks are called in registration order and never removed.
    std::vector<Hook> onChangedHooks;
    QString name;
    int tintIndex = 0;

    bool isDarkMode() const { return name == QLatin1String(DarkName); }

    // Replaces the appearance source (the renderer's --dark) and re-evaluates.
    void setSource(std::shared_ptr<AppearanceSource> source);
    // Re-reads the appearance, posts the change notification and calls the hooks.
    void appearanceDidChange();

    static const std::array<QColor, 7>& tintColors();

    QColor tintColor() const;
    QColor textColor() const;
    QColor secondaryTextColor() const;
    QColor separatorColor() const;
    QColor contentBackgroundColor() const;
    QColor segmentedControlBackgroundColor() const;
    QColor segmentedControlPitchBackgroundColor() const;
    QColor stockRedColor() const;
    QColor stockGreenColor() const;
    QColor stockBlueColor() const;
    QColor batteryStockLineColor() const;
    QColor batteryInnerTextColor() const;
    QColor batteryOutlineColor() const;
    QColor tablePrimaryBackgroundColor() const;
    QColor tableSecondaryBackgroundColor() const;
    QColor togglerBackgroundColor() const;

    // "AccentColorIndex" of the group domain (0 when absent).
    static int getTintIndex();
    // Stores the index unchecked (an out-of-range one later resolves to blue), applies it
    // to the shared palette, re-reads the appearance, posts and calls the hooks.
    static void setTintIndex(int index);
    // Appends hook to the shared palette and calls it at once with the current darkness.
    static void onChanged(Hook hook);
    // Observes "appleInterfaceDidChange" on the default notification centre.
    static void addChanged(QObject* observer, std::function<void(const Notification&)> action);
    // The dark test alone, without creating the palette's hooks or notifications.
    static bool systemAppearanceIsDark();

    // Instance forms of the two class operations above, for palettes other than shared().
    void applyTintIndex(int index);
    void addHook(Hook hook);

private:
    void evaluateName();
    void notifyChanged();
    std::shared_ptr<AppearanceSource> source_;
};

class FixedAppearanceSource {
public:
    // Declared as a separate type so callers need not include the platform header.
    static std::shared_ptr<AppearanceSource> make(bool dark);
    // Flips a source made by make(); calls its change handler.
    static void setDark(const std::shared_ptr<AppearanceSource>& source, bool dark);
};

// Colour helpers: components 0-255 divided by 255, plain RGB (see DynamicAppearance.cpp).
QColor color(int r, int g, int b, double a);
QColor RGB(int r, int g, int b, double a);
// A random opaque colour, each component (rand % 255) / 255.
QColor farbeRandom();
// Copy of image with every non-transparent pixel painted in colour (source-atop).
QImage toTintColor(const QImage& image, const QColor& colour);

// Class-level accessors that answer from the shared palette.
namespace DynamicColor {
QColor dynamicTintColor();
QColor dynamicTextColor();
QColor dynamicSecondaryTextColor();
QColor dynamicSeparatorColor();
QColor dynamicContentBackgroundColor();
QColor dynamicSegmentedControlBackgroundColor();
QColor dynamicSegmentedControlPitchBackgroundColor();
QColor dynamicStockRedColor();
QColor dynamicStockGreenColor();
QColor dynamicStockBlueColor();
QColor dynamicBatteryStockLineColor();
QColor dynamicBatteryInnerTextColor();
QColor dynamicBatteryOutlineColor();
QColor dynamicTablePrimaryBackgroundColor();
QColor dynamicTableSecondaryBackgroundColor();
QColor dynamicTogglerBackgroundColor();
QColor dynamicBatteryRingRedColor();
QColor dynamicBatteryRingGreenColor();
QColor dynamicBatteryRingBlueColor();
QColor dynamicBatteryRingLakeColor();
QColor dynamicBatteryRingYellowColor();
} // namespace DynamicColor
