#include "NetworkStylePicker.h"

#include "menubar/NetMenuBox.h"
#include "menubar/RenderStylesCommand.h"
#include "network/ActivityObject.h"
#include "settings/DynamicAppearance.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QButtonGroup>
#include <QGridLayout>
#include <QLabel>
#include <QPainter>
#include <QRadioButton>

#include <algorithm>

namespace {

// A style drawn on a strip of panel colour, as it would sit in a panel.
QPixmap onPanel(const QImage& image, bool dark, bool doubled) {
    QImage shown = image;
    if (doubled)
        shown.setDevicePixelRatio(1); // every pixel drawn as one point: twice as large
    const QSizeF size = shown.deviceIndependentSize();
    QPixmap strip(QSize(static_cast<int>(size.width()) + 12, static_cast<int>(size.height()) + 6));
    strip.fill(Qt::transparent);
    QPainter p(&strip);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(dark ? QColor(43, 43, 46) : QColor(236, 236, 236));
    p.drawRoundedRect(QRectF(strip.rect()), 4, 4);
    p.drawImage(QPointF(6, 3), shown);
    return strip;
}

} // namespace

NetworkStylePicker::NetworkStylePicker(QWidget* parent)
    : QWidget(parent), group_(new QButtonGroup(this)) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(12);
    grid->setVerticalSpacing(4);
    // Room for the widest style, and for the styles that widen with their text.
    double widest = 0;
    for (BoxType type : kOfferedNetworkStyles)
        widest = std::max(widest, defaultWidthForBoxType(type));
    const int column = static_cast<int>(widest) + 36;
    int row = 0;
    for (BoxType type : kOfferedNetworkStyles) {
        types_.push_back(type);
        auto* button = new QRadioButton(styleTitle(type), this);
        group_->addButton(button, row);
        auto box = NetMenuBox::create(type);
        ActivityObject idle;
        box->update(idle);
        boxes_.push_back(std::move(box));
        auto* small = new QLabel(this);
        auto* large = new QLabel(this);
        small->setToolTip(QStringLiteral("1x"));
        large->setToolTip(QStringLiteral("2x"));
        small->setMinimumWidth(column);
        large->setMinimumWidth(2 * column);
        small_.push_back(small);
        large_.push_back(large);
        grid->addWidget(button, row, 0);
        grid->addWidget(small, row, 1, Qt::AlignLeft | Qt::AlignVCenter);
        grid->addWidget(large, row, 2, Qt::AlignLeft | Qt::AlignVCenter);
        ++row;
    }
    grid->setColumnStretch(2, 1);
    redraw();
    DynamicAppearance::addChanged(this, [this](const Notification&) { redraw(); });
}

NetworkStylePicker::~NetworkStylePicker() = default;

QString NetworkStylePicker::styleTitle(BoxType type) {
    const QString name = QString::fromLatin1(styleFileName(type));
    const QString key = QStringLiteral("settings.style.") + name;
    const QString title = Language::getLocalizedString(key);
    if (title != key)
        return title;
    // A style without a title of its own yet: its name, in words.
    QString words = name;
    words.replace(QLatin1Char('-'), QLatin1Char(' '));
    if (!words.isEmpty())
        words[0] = words[0].toUpper();
    return words;
}

void NetworkStylePicker::activityDidUpdate(const ActivityObject& activity) {
    for (auto& box : boxes_)
        box->update(activity);
    if (isVisible())
        redraw();
}

QImage NetworkStylePicker::preview(int i, int scale) const {
    return boxes_[static_cast<size_t>(i)]->render(scale);
}

void NetworkStylePicker::showEvent(QShowEvent* event) {
    redraw(); // ticks that came while the page was hidden
    QWidget::showEvent(event);
}

void NetworkStylePicker::redraw() {
    const bool dark = DynamicAppearance::shared().isDarkMode();
    for (size_t i = 0; i < boxes_.size(); ++i) {
        small_[i]->setPixmap(onPanel(boxes_[i]->render(1), dark, false));
        large_[i]->setPixmap(onPanel(boxes_[i]->render(2), dark, true));
    }
}
