#include "NetMenuBox.h"

#include "ClassicMenuBox.h"

#include "network/DataUsageProvider.h"
#include "network/SpeedText.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"
#include "settings/SettingsDomain.h"
#include "system/CPUReader.h"

#include <QPainter>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace {
constexpr uint64_t kSwitchPoint = 1025;
const QString kKBs = QStringLiteral("KB/s");
const QString kMBs = QStringLiteral("MB/s");
const QChar kBullet(0x2022);

double megabytes(uint64_t kb) {
    return static_cast<double>(kb) / 1024.0;
}

uint64_t checkedSum(uint64_t a, uint64_t b) {
    uint64_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum))
        menuBarFatal("sent + received overflows 64 bits");
    return sum;
}

// The large styles' number: whole KB below 1025, else MB with two decimals.
SpeedText::ValueAndUnit largeNumber(uint64_t kb) {
    return SpeedText::fixed(kb);
}

Settings::MenuBoxPreferredWidth storedPreferredWidth() {
    const int64_t stored =
        SettingsDomain::standard().integerValue(SettingsKey::MenuBoxPreferredWidth);
    if (static_cast<uint64_t>(stored) > 2)
        return Settings::MenuBoxPreferredWidth::Auto;
    return static_cast<Settings::MenuBoxPreferredWidth>(stored);
}
} // namespace

void menuBarFatal(const char* what) {
    std::fprintf(stderr, "lumenstat: fatal: %s\n", what);
    std::fflush(stderr);
    std::abort();
}

std::vector<TextRun> numberAndUnit(const QString& number, const QString& unit, qreal bigSize,
                                   qreal smallSize) {
    return {TextRun{number, MenuDrawing::systemFont(bigSize, QFont::Medium)},
            TextRun{QStringLiteral(" ") + unit, MenuDrawing::systemFont(smallSize, QFont::Medium)}};
}

// ---------------------------------------------------------------------------------------
// NetMenuBox

NetMenuBox::NetMenuBox(QObject* parent) : QObject(parent) {
    updateTintColor();
    DynamicAppearance::addChanged(this, [this](const Notification&) {
        updateTintColor();
        requestRedraw();
    });
}

NetMenuBox::~NetMenuBox() = default;

std::unique_ptr<NetMenuBox> NetMenuBox::create(BoxType type) {
    switch (type) {
    case BoxType::compact:
        return std::make_unique<Compact>();
    case BoxType::wide:
        return std::make_unique<Wide>();
    case BoxType::luxury:
        return std::make_unique<Luxury>();
    case BoxType::stock:
        return std::make_unique<Stock>();
    case BoxType::solo:
        return std::make_unique<Solo>();
    case BoxType::doubleSolo:
        return std::make_unique<DoubleSolo>();
    case BoxType::icon:
        return std::make_unique<Icon>();
    case BoxType::large:
        return std::make_unique<Large>();
    case BoxType::largeWithCPU:
        return std::make_unique<LargeWithCPU>();
    case BoxType::largeWithStock:
        return std::make_unique<LargeWithStock>();
    case BoxType::menuBox:
    case BoxType::menuCompactBox:
    case BoxType::menuWideBox:
    case BoxType::menuLuxuryBox:
    case BoxType::menuStockBox:
    case BoxType::menuIconBox:
    case BoxType::menuSoloBox:
    case BoxType::menuDoubleSoloBox:
        return MenuBox::createClassic(type);
    case BoxType::cpu:
    case BoxType::storage:
    case BoxType::unspecified:
        break;
    }
    return std::make_unique<NetMenuBox>();
}

void NetMenuBox::updateTintColor() {
    const float grey = DynamicAppearance::shared().isDarkMode() ? 229.0f / 255.0f : 50.0f / 255.0f;
    tintColor = QColor::fromRgbF(grey, grey, grey, 1.0f);
}

namespace {
thread_local std::optional<QColor> inkOverride;
} // namespace

NetMenuBox::InkScope::InkScope(const QColor& colour) : previous_(inkOverride) {
    inkOverride = colour;
}

NetMenuBox::InkScope::~InkScope() {
    inkOverride = previous_;
}

QColor NetMenuBox::labelColor() {
    if (inkOverride)
        return *inkOverride;
    return DynamicAppearance::shared().textColor();
}

QString NetMenuBox::noNetworkText() {
    return Language::getLocalizedString(QStringLiteral("menu.noNetwork.NONETWORK"));
}

MenuLabel& NetMenuBox::emptyLabel() {
    if (!emptyLabel_) {
        MenuLabel label;
        label.setText(noNetworkText(), MenuDrawing::systemFont(13, QFont::Medium));
        label.anchor = MenuLabel::Anchor::Center;
        label.hidden = true;
        emptyLabel_ = label;
    }
    return *emptyLabel_;
}

void NetMenuBox::setEmpty(bool) {}

void NetMenuBox::update(const ActivityObject& activity) {
    setEmpty(activity.netMode == 0);
}

void NetMenuBox::networkActivityDidUpdate(const ActivityRecord& record) {
    if (record)
        update(*record);
}

QString NetMenuBox::drawingKey() const {
    const auto labels = drawnLabels();
    if (!labels)
        return {};
    QString key = QStringLiteral("%1|%2|%3").arg(int(boxType())).arg(width()).arg(arrowsVisible());
    const auto addLabel = [&key](const MenuLabel& l) {
        key += QStringLiteral("|%1,%2,%3,%4,%5,%6,")
                   .arg(l.hidden)
                   .arg(l.origin.x())
                   .arg(l.origin.y())
                   .arg(int(l.anchor))
                   .arg(l.boxWidth)
                   .arg(l.maxWidth);
        for (const TextRun& run : l.runs)
            key += run.font.key() + QLatin1Char(':') + run.text + QLatin1Char(';');
    };
    for (const MenuLabel* l : *labels)
        addLabel(*l);
    if (emptyLabel_)
        addLabel(*emptyLabel_);
    return key;
}

void NetMenuBox::requestRedraw() {
    ++redrawRequests_;
    emit needsDisplay();
}

void NetMenuBox::draw(QPainter& p) const {
    drawContent(p);
}

void NetMenuBox::drawContent(QPainter&) const {}

void NetMenuBox::drawEmptyLabel(QPainter& p) const {
    if (!emptyLabel_ || emptyLabel_->hidden)
        return;
    MenuLabel centred = *emptyLabel_;
    centred.origin = QPointF(width() / 2, kMenuBarHeight / 2);
    centred.paint(p, labelColor());
}

void NetMenuBox::drawArrows(QPainter& p, double downShift) const {
    const QColor colour = labelColor();
    MenuDrawing::strokeImage(p, MenuDrawing::uploadArrowPath(), QPointF(2, 0), colour);
    MenuDrawing::strokeImage(p, MenuDrawing::downloadArrowPath(),
                             QPointF(width() / 2 + downShift, 0), colour);
}

QImage NetMenuBox::render(qreal dpr) const {
    const int w = static_cast<int>(std::ceil(width() * dpr));
    const int h = static_cast<int>(std::ceil(kMenuBarHeight * dpr));
    QImage image(w, h, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    image.setDevicePixelRatio(dpr);
    QPainter p(&image);
    draw(p);
    p.end();
    return image;
}

// ---------------------------------------------------------------------------------------
// Icon

void Icon::drawContent(QPainter& p) const {
    const QPointF origin(width() / 2 - 8, kMenuBarHeight / 2 - 8);
    MenuDrawing::strokeImage(p, MenuDrawing::iconPicturePath(), origin, labelColor());
}

// ---------------------------------------------------------------------------------------
// Compact

Compact::Compact() {
    const QFont font = MenuDrawing::systemFont(9, QFont::Medium);
    topLabel.setText(QStringLiteral("0 KB"), font);
    topLabel.origin = QPointF(14, 1);
    bottomLabel.setText(QStringLiteral("0 KB"), font);
    bottomLabel.anchor = MenuLabel::Anchor::BottomLeft;
    bottomLabel.origin = QPointF(14, kMenuBarHeight - 1);
    topLabel.maxWidth = bottomLabel.maxWidth = defaultWidth() - 14 - 1;
}

QString Compact::speedText(uint64_t kb) {
    if (kb < kSwitchPoint)
        return QString::number(kb) + QStringLiteral(" KB");
    return SpeedText::formatDecimals(megabytes(kb), 2) + QStringLiteral(" MB");
}

void Compact::setEmpty(bool) {
    topLabel.runs.front().text = Language::getLocalizedString(QStringLiteral("menu.noNetwork.NO"));
    bottomLabel.runs.front().text =
        Language::getLocalizedString(QStringLiteral("menu.noNetwork.NET."));
}

void Compact::update(const ActivityObject& activity) {
    // The no-network words are written and then replaced: the speeds always show.
    setEmpty(true);
    topLabel.runs.front().text = speedText(activity.paceActivities.up);
    bottomLabel.runs.front().text = speedText(activity.paceActivities.down);
    requestRedraw();
}

void Compact::drawContent(QPainter& p) const {
    MenuDrawing::strokeImage(p, MenuDrawing::doubleArrowPath(), QPointF(2, 0), labelColor());
    topLabel.paint(p, labelColor());
    bottomLabel.paint(p, labelColor());
}

// ---------------------------------------------------------------------------------------
// Wide

Wide::Wide() {
    emptyLabel();
    for (MenuLabel* l : {&leftLabel, &rightLabel}) {
        l->runs = numberAndUnit(QStringLiteral("0"), QStringLiteral("KB"), 13, 10);
        l->anchor = MenuLabel::Anchor::CenterLeft;
    }
    leftLabel.origin = QPointF(14, kMenuBarHeight / 2);
    rightLabel.origin = QPointF(width() / 2 + 12, kMenuBarHeight / 2);
}

void Wide::setEmpty(bool isEmpty) {
    emptyLabel().hidden = !isEmpty;
    leftLabel.hidden = isEmpty;
    rightLabel.hidden = isEmpty;
    requestRedraw();
}

void Wide::update(const ActivityObject& activity) {
    const bool online = activity.netMode != 0;
    emptyLabel().hidden = online;
    leftLabel.hidden = !online;
    rightLabel.hidden = !online;
    const auto sent = SpeedText::coarse(activity.paceActivities.up);
    const auto received = SpeedText::coarse(activity.paceActivities.down);
    leftLabel.runs = numberAndUnit(sent.value, sent.unit, 13, 10);
    rightLabel.runs = numberAndUnit(received.value, received.unit, 13, 10);
    requestRedraw();
}

bool Wide::arrowsVisible() const {
    return emptyLabel_ && emptyLabel_->hidden;
}

void Wide::drawContent(QPainter& p) const {
    if (arrowsVisible())
        drawArrows(p, 0);
    leftLabel.paint(p, labelColor());
    rightLabel.paint(p, labelColor());
    drawEmptyLabel(p);
}

// ---------------------------------------------------------------------------------------
// Stock

Stock::Stock() {
    emptyLabel();
    const DynamicAppearance& palette = DynamicAppearance::shared();
    struct Side {
        StockView_T* view;
        QColor colour;
    };
    for (Side side : {Side{&sentStock, palette.stockRedColor()},
                      Side{&receivedStock, palette.stockGreenColor()}}) {
        side.view->length = 12;
        side.view->cornerRadius = 4;
        side.view->setLineColor(side.colour);
        QColor background = side.colour;
        background.setAlphaF(0.2);
        side.view->backgroundColor = background;
        connect(side.view, &StockView_T::needsDisplay, this, &NetMenuBox::needsDisplay);
    }
    const double mid = width() / 2;
    sentStock.setFrame(QRectF(QPointF(16, 1), QPointF(mid - 2, kMenuBarHeight - 1)));
    receivedStock.setFrame(QRectF(QPointF(mid + 16, 1), QPointF(width() - 2, kMenuBarHeight - 1)));
}

void Stock::update(const ActivityObject& activity) {
    const bool online = activity.netMode != 0;
    emptyLabel().hidden = online;
    subviewsHidden = !online;
    sentStock.append(activity.paceActivities.up);
    receivedStock.append(activity.paceActivities.down);
    requestRedraw();
}

bool Stock::arrowsVisible() const {
    return emptyLabel_ && emptyLabel_->hidden;
}

void Stock::drawContent(QPainter& p) const {
    if (arrowsVisible())
        drawArrows(p, 2);
    if (!subviewsHidden) {
        for (const StockView_T* view : {&sentStock, &receivedStock}) {
            if (view->backgroundColor) {
                QPainterPath box;
                box.addRoundedRect(view->frame(), view->cornerRadius, view->cornerRadius);
                p.save();
                p.setRenderHint(QPainter::Antialiasing, true);
                p.fillPath(box, *view->backgroundColor);
                p.restore();
            }
            view->paint(p);
        }
    }
    drawEmptyLabel(p);
}

// ---------------------------------------------------------------------------------------
// Solo

Solo::Solo() {
    trafficType = preferredTrafficType();
    topLabel.setText(QStringLiteral("0"), MenuDrawing::systemFont(11, QFont::Medium));
    topLabel.origin = QPointF(2, 0);
    bottomLabel.setText(kKBs, MenuDrawing::systemFont(7, QFont::Bold));
    bottomLabel.anchor = MenuLabel::Anchor::BottomLeft;
    bottomLabel.origin = QPointF(2, kMenuBarHeight);
    topLabel.maxWidth = bottomLabel.maxWidth = defaultWidth() - 2 - 1;
    NotificationCenter::defaultCenter().addObserver(
        this, SettingsNotification::PreferredTrafficTypeChanged,
        [this](const Notification&) { trafficType = preferredTrafficType(); });
}

void Solo::update(const ActivityObject& activity) {
    topLabel.runs.front().text = Language::getLocalizedString(QStringLiteral("menu.noNetwork.NO"));
    bottomLabel.runs.front().text =
        Language::getLocalizedString(QStringLiteral("menu.noNetwork.NET."));
    const NetActivities& pace = activity.paceActivities;
    uint64_t value = 0;
    switch (trafficType) {
    case 0:
        value = checkedSum(pace.up, pace.down);
        break;
    case 1:
        value = pace.up;
        break;
    case 2:
        value = pace.down;
        break;
    default:
        value = 0;
        break;
    }
    const auto text = SpeedText::adaptive(value);
    topLabel.runs.front().text = text.value;
    bottomLabel.runs.front().text = text.unit;
    requestRedraw();
}

void Solo::drawContent(QPainter& p) const {
    topLabel.paint(p, labelColor());
    bottomLabel.paint(p, labelColor());
}

// ---------------------------------------------------------------------------------------
// DoubleSolo and Luxury

DoubleSolo::DoubleSolo() {
    emptyLabel();
    for (MenuLabel* l : {&topLeft, &topRight})
        l->setText(QStringLiteral("0"), MenuDrawing::systemFont(11, QFont::Medium));
    for (MenuLabel* l : {&bottomLeft, &bottomRight}) {
        l->setText(kKBs, MenuDrawing::systemFont(7, QFont::Bold));
        l->anchor = MenuLabel::Anchor::BottomLeft;
    }
    layout();
}

void DoubleSolo::layout() {
    const double right = width() / 2 + 12;
    topLeft.origin = QPointF(14, 0);
    bottomLeft.origin = QPointF(14, kMenuBarHeight);
    topRight.origin = QPointF(right, 0);
    bottomRight.origin = QPointF(right, kMenuBarHeight);
}

void DoubleSolo::setEmpty(bool isEmpty) {
    emptyLabel().hidden = !isEmpty;
    for (MenuLabel* l : {&topLeft, &topRight, &bottomLeft, &bottomRight})
        l->hidden = isEmpty;
    requestRedraw();
}

void DoubleSolo::update(const ActivityObject& activity) {
    setEmpty(activity.netMode == 0);
    updateValues(activity);
    requestRedraw();
}

void DoubleSolo::updateValues(const ActivityObject& activity) {
    const auto sent = SpeedText::adaptive(activity.paceActivities.up);
    const auto received = SpeedText::adaptive(activity.paceActivities.down);
    topLeft.runs.front().text = sent.value;
    bottomLeft.runs.front().text = sent.unit;
    topRight.runs.front().text = received.value;
    bottomRight.runs.front().text = received.unit;
}

bool DoubleSolo::arrowsVisible() const {
    return emptyLabel_ && emptyLabel_->hidden;
}

void DoubleSolo::drawContent(QPainter& p) const {
    if (arrowsVisible())
        drawArrows(p, 0);
    for (const MenuLabel* l : {&topLeft, &topRight, &bottomLeft, &bottomRight})
        l->paint(p, labelColor());
    drawEmptyLabel(p);
}

std::function<Luxury::Totals()>& Luxury::todayTotalsSource() {
    static std::function<Totals()> source = [] {
        const DataUsageProvider::Atom atom = DataUsageProvider::shared().todayTotals();
        return Totals{atom.bytesIn, atom.bytesOut};
    };
    return source;
}

Luxury::Luxury() {
    layout();
}

void Luxury::updateValues(const ActivityObject& activity) {
    const auto sent = SpeedText::coarse(activity.paceActivities.up);
    const auto received = SpeedText::coarse(activity.paceActivities.down);
    topLeft.runs = numberAndUnit(sent.value, sent.unit, 11, 9);
    topRight.runs = numberAndUnit(received.value, received.unit, 11, 9);
    const Totals totals = todayTotalsSource() ? todayTotalsSource()() : Totals{};
    if (totals.bytesIn < 0 || totals.bytesOut < 0)
        menuBarFatal("negative data usage total");
    bottomLeft.runs.front().text =
        SpeedText::dataVolumeText(static_cast<uint64_t>(totals.bytesOut));
    bottomRight.runs.front().text =
        SpeedText::dataVolumeText(static_cast<uint64_t>(totals.bytesIn));
}

// ---------------------------------------------------------------------------------------
// Large and LargeWithCPU

QFont Large::numberFont() {
    return MenuDrawing::appFont(15, QFont::Bold);
}
QFont Large::unitFont() {
    return MenuDrawing::appFont(8, QFont::Medium);
}
QFont Large::separatorFont() {
    return MenuDrawing::systemFont(15, QFont::Medium);
}

Large::Large() {
    textLabel.anchor = MenuLabel::Anchor::Center;
    readPreferredWidth();
    NotificationCenter::defaultCenter().addObserver(
        this, SettingsNotification::MenuBoxPreferredWidthChanged, [this](const Notification&) {
            readPreferredWidth();
            adaptWidth();
        });
    setEmpty(true);
}

void Large::readPreferredWidth() {
    boxPreferredWidth = storedPreferredWidth();
}

void Large::setEmpty(bool isEmpty) {
    if (!isEmpty)
        return;
    textLabel.setText(noNetworkText(), MenuDrawing::appFont(15, QFont::Medium));
    adaptWidth();
}

void Large::update(const ActivityObject& activity) {
    setEmpty(activity.netMode == 0);
    updateText(activity);
    adaptWidth();
    requestRedraw();
}

void Large::updateText(const ActivityObject& activity) {
    const auto sent = largeNumber(activity.paceActivities.up);
    const auto received = largeNumber(activity.paceActivities.down);
    const QString separator = QStringLiteral(" ") + kBullet + QStringLiteral(" ");
    textLabel.runs = {
        {sent.value, numberFont()},
        {QStringLiteral(" ") + sent.unit, unitFont()},
        {separator, separatorFont()},
        {received.value, numberFont()},
        {QStringLiteral(" ") + received.unit, unitFont()},
    };
}

void Large::announceWidth(double w) {
    ++widthAnnouncements;
    if (widthChangedHandler)
        widthChangedHandler(w);
}

void Large::adaptWidth() {
    using W = Settings::MenuBoxPreferredWidth;
    if (boxPreferredWidth == W::Wide || boxPreferredWidth == W::Compact) {
        setWidth(boxPreferredWidth == W::Wide ? wideWidth() : compactWidth());
        announceWidth(width());
        return;
    }
    const double fitting = std::min(textLabel.fittingSize().width(), 200.0);
    if (!std::isfinite(fitting) || fitting < 0)
        menuBarFatal("label width out of range");
    const double w = std::trunc(fitting) + 2;
    if (w == width())
        return;
    setWidth(w);
    announceWidth(w);
}

void Large::drawContent(QPainter& p) const {
    MenuLabel centred = textLabel;
    centred.origin = QPointF(width() / 2, kMenuBarHeight / 2);
    centred.paint(p, labelColor());
}

std::function<QString()>& LargeWithCPU::cpuTextSource() {
    static std::function<QString()> source = [] { return CPUReader::shared().cpuRate(); };
    return source;
}

void LargeWithCPU::updateText(const ActivityObject& activity) {
    Large::updateText(activity);
    QString cpu = cpuTextSource() ? cpuTextSource()() : QString();
    if (cpu.isEmpty())
        cpu = QStringLiteral("0");
    const QString separator = QStringLiteral(" ") + kBullet + QStringLiteral(" ");
    textLabel.runs.push_back({separator, separatorFont()});
    textLabel.runs.push_back({cpu, numberFont()});
    textLabel.runs.push_back({QStringLiteral(" %"), unitFont()});
}

// ---------------------------------------------------------------------------------------
// LargeWithStock

LargeWithStock::LargeWithStock() {
    textLabel.anchor = MenuLabel::Anchor::Center;
    stockView.length = 12;
    stockView.cornerRadius = 4;
    stockView.setFrame(QRectF(2, 2, 36, kMenuBarHeight - 4));
    connect(&stockView, &StockView_T::needsDisplay, this, &NetMenuBox::needsDisplay);
    readPreferredWidth();
    NotificationCenter::defaultCenter().addObserver(
        this, SettingsNotification::MenuBoxPreferredWidthChanged, [this](const Notification&) {
            readPreferredWidth();
            adaptWidth();
        });
}

void LargeWithStock::readPreferredWidth() {
    boxPreferredWidth = storedPreferredWidth();
}

void LargeWithStock::setEmpty(bool isEmpty) {
    if (!isEmpty)
        return;
    textLabel.setText(noNetworkText(), MenuDrawing::appFont(15, QFont::Medium));
    adaptWidth();
}

void LargeWithStock::update(const ActivityObject& activity) {
    if (activity.netMode == 0)
        setEmpty(true);
    const uint64_t sent = activity.paceActivities.up;
    const uint64_t received = activity.paceActivities.down;
    const uint64_t total = checkedSum(sent, received);
    stockView.append(total);
    const DynamicAppearance& palette = DynamicAppearance::shared();
    const QColor line = received < sent ? palette.stockRedColor() : palette.stockGreenColor();
    stockView.setLineColor(line);
    QColor background = line;
    background.setAlphaF(0.2);
    stockView.backgroundColor = background;
    const auto text = largeNumber(total);
    textLabel.runs = {{text.value, Large::numberFont()},
                      {QStringLiteral(" ") + text.unit, Large::unitFont()}};
    adaptWidth();
    requestRedraw();
}

void LargeWithStock::announceWidth(double w) {
    ++widthAnnouncements;
    if (widthChangedHandler)
        widthChangedHandler(w);
}

void LargeWithStock::adaptWidth() {
    using W = Settings::MenuBoxPreferredWidth;
    if (boxPreferredWidth == W::Wide || boxPreferredWidth == W::Compact) {
        setWidth(boxPreferredWidth == W::Wide ? 120 : 100);
        announceWidth(width());
        return;
    }
    const double fitting = std::min(textLabel.fittingSize().width(), 144.0);
    if (!std::isfinite(fitting) || fitting < 0)
        menuBarFatal("label width out of range");
    const double w = std::trunc(fitting) + 2 + 40;
    if (w == width())
        return;
    setWidth(w);
    announceWidth(w);
}

void LargeWithStock::drawContent(QPainter& p) const {
    stockView.paintOnBackground(p);
    MenuLabel centred = textLabel;
    centred.origin = QPointF(40 + (width() - 40) / 2, kMenuBarHeight / 2);
    centred.paint(p, labelColor());
}
