#include "DynamicAppearance.h"

#include "NotificationCenter.h"
#include "Settings.h"
#include "SettingsDomain.h"
#include "platform/linux/DesktopPortalAppearance.h"

#include <QPainter>

#include <cstdlib>

namespace {

class ToggleSource : public AppearanceSource {
public:
    explicit ToggleSource(bool dark) : dark_(dark) {}
    bool isDark() override { return dark_; }
    void setChangeHandler(std::function<void()> handler) override { handler_ = std::move(handler); }
    void set(bool dark) {
        dark_ = dark;
        if (handler_)
            handler_();
    }

private:
    bool dark_;
    std::function<void()> handler_;
};

// One light/dark pair.
QColor pick(bool dark, QColor light, QColor darkValue) {
    return dark ? darkValue : light;
}

} // namespace

QColor color(int r, int g, int b, double a) {
    // Plain RGB: the wide-gamut constructor is never taken, so colours stay sRGB values.
    return QColor::fromRgbF(static_cast<float>(r) / 255.0f, static_cast<float>(g) / 255.0f,
                            static_cast<float>(b) / 255.0f, static_cast<float>(a));
}

QColor RGB(int r, int g, int b, double a) {
    return color(r, g, b, a);
}

QColor farbeRandom() {
    auto component = [] { return (std::rand() % 255); };
    const int r = component();
    const int g = component();
    const int b = component();
    return color(r, g, b, 1.0);
}

QImage toTintColor(const QImage& image, const QColor& colour) {
    QImage out = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    QPainter p(&out);
    p.setCompositionMode(QPainter::CompositionMode_SourceAtop);
    p.fillRect(out.rect(), colour);
    p.end();
    return out;
}

DynamicAppearance& DynamicAppearance::shared() {
    static DynamicAppearance* palette = new DynamicAppearance(DesktopPortalAppearance::session());
    return *palette;
}

DynamicAppearance::DynamicAppearance(std::shared_ptr<AppearanceSource> source, QObject* parent)
    : QObject(parent) {
    tintIndex = getTintIndex();
    setSource(std::move(source));
}

DynamicAppearance::~DynamicAppearance() {
    if (source_)
        source_->setChangeHandler(nullptr);
}

void DynamicAppearance::setSource(std::shared_ptr<AppearanceSource> source) {
    if (source_)
        source_->setChangeHandler(nullptr);
    source_ = std::move(source);
    if (source_)
        source_->setChangeHandler([this] { appearanceDidChange(); });
    if (name.isEmpty()) {
        evaluateName(); // creation: no notification yet
        return;
    }
    appearanceDidChange();
}

void DynamicAppearance::evaluateName() {
    const bool dark = source_ && source_->isDark();
    name = QString::fromLatin1(dark ? DarkName : LightName);
}

void DynamicAppearance::notifyChanged() {
    NotificationCenter::defaultCenter().post(QString::fromLatin1(DidChangeNotification));
    const bool dark = isDarkMode();
    // Index loop: a hook may register another hook.
    for (size_t i = 0; i < onChangedHooks.size(); ++i)
        onChangedHooks[i](dark);
}

void DynamicAppearance::appearanceDidChange() {
    evaluateName();
    notifyChanged();
}

const std::array<QColor, 7>& DynamicAppearance::tintColors() {
    static const std::array<QColor, 7> colours = {
        color(0, 122, 255, 1), color(165, 80, 165, 1), color(247, 80, 158, 1),
        color(255, 82, 88, 1), color(247, 130, 27, 1), color(255, 197, 0, 1),
        color(97, 185, 70, 1),
    };
    return colours;
}

QColor DynamicAppearance::tintColor() const {
    if (tintIndex >= 0 && tintIndex < static_cast<int>(tintColors().size()))
        return tintColors()[static_cast<size_t>(tintIndex)];
    return tintColors()[0];
}

QColor DynamicAppearance::textColor() const {
    return batteryInnerTextColor();
}
QColor DynamicAppearance::secondaryTextColor() const {
    return pick(isDarkMode(), color(138, 138, 142, 1), color(152, 152, 159, 1));
}
QColor DynamicAppearance::separatorColor() const {
    return pick(isDarkMode(), color(200, 199, 204, 1), color(76, 76, 76, 1));
}
QColor DynamicAppearance::contentBackgroundColor() const {
    return pick(isDarkMode(), color(249, 250, 249, 1), color(50, 50, 50, 1));
}
QColor DynamicAppearance::segmentedControlBackgroundColor() const {
    return pick(isDarkMode(), color(238, 238, 238, 1), color(60, 62, 67, 1));
}
QColor DynamicAppearance::segmentedControlPitchBackgroundColor() const {
    return pick(isDarkMode(), color(255, 255, 255, 1), color(105, 105, 111, 1));
}
QColor DynamicAppearance::stockRedColor() const {
    return color(245, 45, 85, 1);
}
QColor DynamicAppearance::stockGreenColor() const {
    return color(65, 201, 100, 1);
}
QColor DynamicAppearance::stockBlueColor() const {
    return color(85, 166, 229, 1);
}
QColor DynamicAppearance::batteryStockLineColor() const {
    return pick(isDarkMode(), color(142, 142, 147, 0.2), color(204, 204, 204, 0.2));
}
QColor DynamicAppearance::batteryInnerTextColor() const {
    return pick(isDarkMode(), color(0, 0, 0, 1), color(255, 255, 255, 1));
}
QColor DynamicAppearance::batteryOutlineColor() const {
    return pick(isDarkMode(), color(79, 79, 79, 1), color(217, 214, 193, 1));
}
QColor DynamicAppearance::tablePrimaryBackgroundColor() const {
    return contentBackgroundColor();
}
QColor DynamicAppearance::tableSecondaryBackgroundColor() const {
    return pick(isDarkMode(), color(231, 231, 235, 1), color(30, 30, 30, 1));
}
QColor DynamicAppearance::togglerBackgroundColor() const {
    return pick(isDarkMode(), color(233, 233, 233, 1), color(57, 57, 61, 1));
}

int DynamicAppearance::getTintIndex() {
    return accentColorIndex();
}

void DynamicAppearance::applyTintIndex(int index) {
    tintIndex = index;
    appearanceDidChange();
}

void DynamicAppearance::setTintIndex(int index) {
    setAccentColorIndex(index);
    shared().applyTintIndex(index);
}

void DynamicAppearance::addHook(Hook hook) {
    onChangedHooks.push_back(hook);
    hook(isDarkMode());
}

void DynamicAppearance::onChanged(Hook hook) {
    shared().addHook(std::move(hook));
}

void DynamicAppearance::addChanged(QObject* observer,
                                   std::function<void(const Notification&)> action) {
    NotificationCenter::defaultCenter().addObserver(
        observer, QString::fromLatin1(DidChangeNotification), std::move(action));
}

bool DynamicAppearance::systemAppearanceIsDark() {
    return DesktopPortalAppearance::session()->isDark();
}

std::shared_ptr<AppearanceSource> FixedAppearanceSource::make(bool dark) {
    return std::make_shared<ToggleSource>(dark);
}

void FixedAppearanceSource::setDark(const std::shared_ptr<AppearanceSource>& source, bool dark) {
    if (auto* toggle = dynamic_cast<ToggleSource*>(source.get()))
        toggle->set(dark);
}

namespace DynamicColor {
namespace {
const DynamicAppearance& p() {
    return DynamicAppearance::shared();
}
} // namespace
QColor dynamicTintColor() {
    return p().tintColor();
}
QColor dynamicTextColor() {
    return p().textColor();
}
QColor dynamicSecondaryTextColor() {
    return p().secondaryTextColor();
}
QColor dynamicSeparatorColor() {
    return p().separatorColor();
}
QColor dynamicContentBackgroundColor() {
    return p().contentBackgroundColor();
}
QColor dynamicSegmentedControlBackgroundColor() {
    return p().segmentedControlBackgroundColor();
}
QColor dynamicSegmentedControlPitchBackgroundColor() {
    return p().segmentedControlPitchBackgroundColor();
}
QColor dynamicStockRedColor() {
    return p().stockRedColor();
}
QColor dynamicStockGreenColor() {
    return p().stockGreenColor();
}
QColor dynamicStockBlueColor() {
    return p().stockBlueColor();
}
QColor dynamicBatteryStockLineColor() {
    return p().batteryStockLineColor();
}
QColor dynamicBatteryInnerTextColor() {
    return p().batteryInnerTextColor();
}
QColor dynamicBatteryOutlineColor() {
    return p().batteryOutlineColor();
}
QColor dynamicTablePrimaryBackgroundColor() {
    return p().tablePrimaryBackgroundColor();
}
QColor dynamicTableSecondaryBackgroundColor() {
    return p().tableSecondaryBackgroundColor();
}
QColor dynamicTogglerBackgroundColor() {
    return p().togglerBackgroundColor();
}
QColor dynamicBatteryRingRedColor() {
    return color(255, 69, 58, 1);
}
QColor dynamicBatteryRingGreenColor() {
    return color(34, 164, 50, 1);
}
QColor dynamicBatteryRingBlueColor() {
    return color(12, 140, 123, 1);
}
QColor dynamicBatteryRingLakeColor() {
    return color(85, 169, 216, 1);
}
QColor dynamicBatteryRingYellowColor() {
    return color(239, 181, 13, 1);
}
} // namespace DynamicColor
