#include "ClassicMenuBox.h"

#include "network/SpeedText.h"
#include "platform/DecimalText.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"
#include "settings/SettingsDomain.h"

#include <QPainter>
#include <QPainterPath>

namespace {

constexpr uint64_t kSwitchKB = 1025;

QString localized(const char* key) {
    return Language::getLocalizedString(QLatin1String(key));
}

void drawText(QPainter& p, const QRectF& rect, int flags, const QString& text, const QFont& font,
              const QColor& colour) {
    p.setFont(font);
    p.setPen(colour);
    p.drawText(rect, flags, text);
}

// Number large and unit small, left-aligned at x, centred on the bar.
void drawNumberAndUnit(QPainter& p, qreal x, qreal width, const std::pair<QString, QString>& t,
                       const QColor& colour) {
    MenuLabel label;
    label.runs = numberAndUnit(t.first, t.second, 13, 10);
    label.anchor = MenuLabel::Anchor::CenterLeft;
    label.origin = QPointF(x, kMenuBarHeight / 2);
    label.maxWidth = width;
    label.paint(p, colour);
}

} // namespace

MenuBox::MenuBox(bool isImageRenderingAsTemplate)
    : isImageRenderingAsTemplate(isImageRenderingAsTemplate) {
    updateImageColor();
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        updateImageColor();
        requestRedraw();
    });
}

std::unique_ptr<NetMenuBox> MenuBox::createClassic(BoxType type) {
    switch (type) {
    case BoxType::menuBox:
        return std::make_unique<MenuBox>();
    case BoxType::menuCompactBox:
        return std::make_unique<MenuCompactBox>();
    case BoxType::menuWideBox:
        return std::make_unique<MenuWideBox>();
    case BoxType::menuLuxuryBox:
        return std::make_unique<MenuLuxuryBox>();
    case BoxType::menuStockBox:
        return std::make_unique<MenuStockBox>();
    case BoxType::menuIconBox:
        return std::make_unique<MenuIconBox>();
    case BoxType::menuSoloBox:
        return std::make_unique<MenuSoloBox>();
    case BoxType::menuDoubleSoloBox:
        return std::make_unique<MenuDoubleSoloBox>();
    default:
        return nullptr;
    }
}

void MenuBox::updateImageColor() {
    imageColor =
        DynamicAppearance::shared().isDarkMode() ? color(229, 229, 229, 1) : color(50, 50, 50, 1);
}

QColor MenuBox::arrowColour() const {
    // A template picture takes the bar's text colour.
    return isImageRenderingAsTemplate ? labelColor() : imageColor;
}

float MenuBox::megabytes(uint64_t kb) {
    return float(kb) * (1.0f / 1024.0f);
}

QString MenuBox::compactText(uint64_t kb) {
    if (kb < kSwitchKB)
        return QString::number(kb) + QStringLiteral(" KB");
    return decimalText(megabytes(kb), 2) + QStringLiteral(" MB");
}

void MenuBox::update(const ActivityObject& activity) {
    showEmptyView = activity.netMode == 0;
    if (!showEmptyView)
        writeTexts(activity);
    requestRedraw();
}

void MenuBox::drawArrowPair(QPainter& p) const {
    MenuDrawing::strokeImage(p, MenuDrawing::uploadArrowPath(), QPointF(0, 0), arrowColour());
    MenuDrawing::strokeImage(p, MenuDrawing::downloadArrowPath(), QPointF(width() / 2, 0),
                             arrowColour());
}

void MenuBox::drawContent(QPainter& p) const {
    if (showEmptyView) {
        drawText(p, QRectF(0, 0, width(), kMenuBarHeight), Qt::AlignCenter,
                 localized("menu.noNetwork.NONETWORK"), MenuDrawing::systemFont(9, QFont::Medium),
                 labelColor());
        return;
    }
    drawSpeeds(p);
}

// --- compact

void MenuCompactBox::writeTexts(const ActivityObject& a) {
    top = compactText(a.paceActivities.up);
    bottom = compactText(a.paceActivities.down);
}

void MenuCompactBox::drawSpeeds(QPainter& p) const {
    MenuDrawing::strokeImage(p, MenuDrawing::doubleArrowPath(), QPointF(2, 0), arrowColour());
    // Long figures are narrowed, not cut, at the right edge.
    MenuLabel line;
    line.maxWidth = width() - 15;
    line.setText(top, MenuDrawing::systemFont(9, QFont::Medium));
    line.origin = QPointF(14, 1);
    line.paint(p, labelColor());
    line.setText(bottom, MenuDrawing::systemFont(9, QFont::Medium));
    line.anchor = MenuLabel::Anchor::BottomLeft;
    line.origin = QPointF(14, kMenuBarHeight - 1);
    line.paint(p, labelColor());
}

// --- wide and luxury

std::pair<QString, QString> MenuWideBox::byteText(uint64_t kb) {
    if (kb < kSwitchKB)
        return {QString::number(kb), QStringLiteral("KB")};
    const float mb = megabytes(kb);
    return {decimalText(mb, mb > 10 ? 0 : 1), QStringLiteral("MB")};
}

void MenuWideBox::writeTexts(const ActivityObject& a) {
    left = byteText(a.paceActivities.up);
    right = byteText(a.paceActivities.down);
}

void MenuWideBox::drawSpeeds(QPainter& p) const {
    drawArrowPair(p);
    const qreal half = width() / 2;
    drawNumberAndUnit(p, 13, half - 14, left, labelColor());
    drawNumberAndUnit(p, half + 13, half - 14, right, labelColor());
}

void MenuLuxuryBox::writeTexts(const ActivityObject& a) {
    MenuWideBox::writeTexts(a);
    totalLeft = SpeedText::dataVolumeText(a.netActivities.up);
    totalRight = SpeedText::dataVolumeText(a.netActivities.down);
}

void MenuLuxuryBox::drawSpeeds(QPainter& p) const {
    drawArrowPair(p);
    const qreal half = width() / 2;
    const QFont big = MenuDrawing::systemFont(10, QFont::Medium);
    const QFont small = MenuDrawing::systemFont(8, QFont::Medium);
    const int top = Qt::AlignLeft | Qt::AlignTop;
    const int bottom = Qt::AlignLeft | Qt::AlignBottom;
    drawText(p, QRectF(13, 0, half - 14, 12), top, left.first + QLatin1Char(' ') + left.second, big,
             labelColor());
    drawText(p, QRectF(half + 13, 0, half - 14, 12), top,
             right.first + QLatin1Char(' ') + right.second, big, labelColor());
    drawText(p, QRectF(13, 11, half - 14, 11), bottom, totalLeft, small, labelColor());
    drawText(p, QRectF(half + 13, 11, half - 14, 11), bottom, totalRight, small, labelColor());
}

// --- stock

MenuStockBox::MenuStockBox(bool isImageRenderingAsTemplate) : MenuBox(isImageRenderingAsTemplate) {
    const DynamicAppearance& palette = DynamicAppearance::shared();
    const double mid = width() / 2;
    sentStock.setFrame(QRectF(QPointF(14, 2), QPointF(mid - 2, kMenuBarHeight - 2)));
    receivedStock.setFrame(QRectF(QPointF(mid + 14, 2), QPointF(width() - 2, kMenuBarHeight - 2)));
    sentStock.setLineColor(palette.stockRedColor());
    receivedStock.setLineColor(palette.stockGreenColor());
    for (StockView_T* s : {&sentStock, &receivedStock}) {
        s->length = 12;
        connect(s, &StockView_T::needsDisplay, this, &NetMenuBox::needsDisplay);
    }
}

void MenuStockBox::writeTexts(const ActivityObject& a) {
    sentStock.updateLastWithValue(a.paceActivities.up);
    receivedStock.updateLastWithValue(a.paceActivities.down);
}

void MenuStockBox::drawSpeeds(QPainter& p) const {
    MenuDrawing::strokeImage(p, MenuDrawing::uploadArrowPath(), QPointF(0, 0),
                             DynamicAppearance::shared().stockRedColor());
    MenuDrawing::strokeImage(p, MenuDrawing::downloadArrowPath(), QPointF(width() / 2, 0),
                             DynamicAppearance::shared().stockGreenColor());
    sentStock.paint(p);
    receivedStock.paint(p);
}

// --- icon

void MenuIconBox::drawContent(QPainter& p) const {
    // Without a network the picture is faint: it has no room for words.
    QColor colour = arrowColour();
    if (showEmptyView)
        colour.setAlphaF(0.35f);
    MenuDrawing::strokeImage(p, MenuDrawing::iconPicturePath(), QPointF(3, 3), colour);
}

// --- solo and double solo

MenuSoloBox::MenuSoloBox(bool isImageRenderingAsTemplate) : MenuBox(isImageRenderingAsTemplate) {
    const auto read = [this] {
        trafficType =
            int(SettingsDomain::standard().integerValue(SettingsKey::PreferredTrafficType));
    };
    read();
    NotificationCenter::defaultCenter().addObserver(
        this, QString::fromLatin1(SettingsNotification::PreferredTrafficTypeChanged),
        [this, read](const Notification&) { read(); });
}

std::pair<QString, QString> MenuSoloBox::soloText(uint64_t kb) {
    if (kb < kSwitchKB)
        return {QString::number(kb), QStringLiteral("KB/s")};
    const float mb = megabytes(kb);
    return {decimalText(mb, mb > 10 ? 1 : 2), QStringLiteral("MB/s")};
}

void MenuSoloBox::writeTexts(const ActivityObject& a) {
    const NetActivities& pace = a.paceActivities;
    // Unknown types count both ways; the sum wraps like the unsigned arithmetic it is.
    const uint64_t value = trafficType == 1   ? pace.up
                           : trafficType == 2 ? pace.down
                                              : pace.up + pace.down;
    figure = soloText(value);
}

void MenuSoloBox::drawSpeeds(QPainter& p) const {
    drawText(p, QRectF(0, 0, width(), 12), Qt::AlignHCenter | Qt::AlignTop, figure.first,
             MenuDrawing::systemFont(11, QFont::Medium), labelColor());
    drawText(p, QRectF(0, 12, width(), 10), Qt::AlignHCenter | Qt::AlignBottom, figure.second,
             MenuDrawing::systemFont(7, QFont::Bold), labelColor());
}

void MenuDoubleSoloBox::writeTexts(const ActivityObject& a) {
    left = MenuSoloBox::soloText(a.paceActivities.up);
    right = MenuSoloBox::soloText(a.paceActivities.down);
}

void MenuDoubleSoloBox::drawSpeeds(QPainter& p) const {
    drawArrowPair(p);
    const qreal half = width() / 2;
    for (int i = 0; i < 2; ++i) {
        const auto& t = i == 0 ? left : right;
        const qreal x = i * half + 13;
        drawText(p, QRectF(x, 0, half - 14, 12), Qt::AlignLeft | Qt::AlignTop, t.first,
                 MenuDrawing::systemFont(11, QFont::Medium), labelColor());
        drawText(p, QRectF(x, 12, half - 14, 10), Qt::AlignLeft | Qt::AlignBottom, t.second,
                 MenuDrawing::systemFont(7, QFont::Bold), labelColor());
    }
}
