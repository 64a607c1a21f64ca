#include "FloatWindowPreview.h"

#include "ContentView.h"
#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QPainter>
#include <QPainterPath>

#include <memory>

namespace {

constexpr int kMargin = 14;

} // namespace

FloatWindowPreview::FloatWindowPreview(QWidget* parent)
    : QWidget(parent), view_(new ContentView(ContentView::Sources::system(), this)) {
    reload();
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
}

QRect FloatWindowPreview::windowRect() const {
    const QSize size = view_->size();
    return QRect(QPoint(kMargin, kMargin), size);
}

void FloatWindowPreview::reload() {
    const WindowMode mode =
        windowModeFromStored(SettingsDomain::standard().integerValue(SettingsKey::FloatWindowMode));
    const QSize size = windowSizeForMode(mode);
    view_->setFixedSize(size);
    view_->setWindowMode(mode);
    view_->showTimeDidChange();
    view_->move(kMargin, kMargin);
    const QSize whole = windowSizeForMode(WindowMode::wide) + QSize(2 * kMargin, 2 * kMargin);
    setFixedSize(whole);
    update();
}

void FloatWindowPreview::activityDidUpdate(const ActivityObject& activity) {
    view_->update(std::make_shared<const ActivityObject>(activity));
}

void FloatWindowPreview::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    // A checkered desktop, so the opacity shows.
    const int cell = 8;
    const bool dark = DynamicAppearance::shared().isDarkMode();
    const QColor a = dark ? QColor(70, 70, 76) : QColor(205, 205, 210);
    const QColor b = dark ? QColor(40, 40, 44) : QColor(235, 235, 238);
    for (int y = 0; y < height(); y += cell)
        for (int x = 0; x < width(); x += cell)
            p.fillRect(QRect(x, y, cell, cell), ((x + y) / cell) % 2 ? a : b);

    const QRectF window = windowRect();
    if (Settings::shared().floatWindowHasShadow()) {
        for (int i = 6; i > 0; --i) {
            QColor shade(0, 0, 0, 14);
            p.setPen(Qt::NoPen);
            p.setBrush(shade);
            p.drawRoundedRect(window.adjusted(-i, -i + 3, i, i + 3), 8 + i, 8 + i);
        }
    }
    QColor background = DynamicAppearance::shared().contentBackgroundColor();
    background.setAlphaF(Settings::shared().floatWindowBackgroundAlpha());
    p.setPen(Qt::NoPen);
    p.setBrush(background);
    p.drawRoundedRect(window, 8, 8);
}
