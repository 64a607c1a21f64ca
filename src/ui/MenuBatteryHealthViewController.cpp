#include "MenuBatteryHealthViewController.h"

#include "HomeStyle.h"
#include "ToggleSwitch.h"
#include "settings/Language.h"
#include "settings/NotificationCenter.h"

#include <QEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

namespace {

// The expandable row: its title and an arrow pointing right (closed) or down (open).
class ExpandCell : public QWidget {
public:
    ExpandCell(const bool& expanded, const bool& hovered, QWidget* parent)
        : QWidget(parent), expanded_(expanded), hovered_(hovered) {
        setCursor(Qt::PointingHandCursor);
        setAttribute(Qt::WA_Hover);
    }

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF row = QRectF(rect()).adjusted(HomeStyle::kMargin, 2, -HomeStyle::kMargin, -2);
        if (hovered_) {
            QPainterPath bg;
            bg.addRoundedRect(row, 6, 6);
            p.fillPath(bg, DynamicColor::dynamicTableSecondaryBackgroundColor());
        }
        p.setPen(QPen(DynamicColor::dynamicSeparatorColor(), 0.5));
        p.drawLine(QPointF(HomeStyle::kMargin, 0.5), QPointF(width() - HomeStyle::kMargin, 0.5));
        const QString title =
            Language::getLocalizedString(QStringLiteral("menuBattery.cell.title"));
        p.setFont(
            HomeStyle::fitted(MenuDrawing::systemFont(12, QFont::Medium), title, row.width() - 30));
        p.setPen(DynamicColor::dynamicTextColor());
        p.drawText(row.adjusted(8, 0, -24, 0), Qt::AlignLeft | Qt::AlignVCenter, title);
        // The arrow: a chevron turned down when open.
        const QPointF c(row.right() - 12, row.center().y());
        QPainterPath chevron;
        if (expanded_) {
            chevron.moveTo(c + QPointF(-4, -2));
            chevron.lineTo(c + QPointF(0, 2));
            chevron.lineTo(c + QPointF(4, -2));
        } else {
            chevron.moveTo(c + QPointF(-2, -4));
            chevron.lineTo(c + QPointF(2, 0));
            chevron.lineTo(c + QPointF(-2, 4));
        }
        p.setPen(QPen(DynamicColor::dynamicSecondaryTextColor(), 1.6, Qt::SolidLine, Qt::RoundCap,
                      Qt::RoundJoin));
        p.drawPath(chevron);
    }

private:
    const bool& expanded_;
    const bool& hovered_;
};

// One switch row of the settings view.
QWidget* switchRow(const char* key, ToggleSwitch* toggler, QWidget* parent, int top,
                   QObject* painter) {
    auto* row = new QWidget(parent);
    row->setGeometry(HomeStyle::kMargin, top, BatteryHealthView::kWidth - 2 * HomeStyle::kMargin,
                     40);
    auto* label = new QWidget(row);
    label->setGeometry(8, 0, row->width() - 60, 40);
    label->installEventFilter(painter); // painted by the page's filter
    label->setProperty("text", Language::getLocalizedString(QLatin1String(key)));
    toggler->setParent(row);
    toggler->move(row->width() - toggler->width() - 8, (40 - toggler->height()) / 2);
    return row;
}

} // namespace

MenuBatteryHealthViewController::MenuBatteryHealthViewController(
    BatteryHealthView::ReportSource report, BatteryChartView::DatasetSource chart, QWidget* parent)
    : QWidget(parent),
      batteryHealthView_(new BatteryHealthView(std::move(report), std::move(chart), this)),
      cell_(new ExpandCell(isExpanded_, isMouseEntered_, this)), settingsView_(new QWidget(this)),
      percentageToggler_(new ToggleSwitch), tintColorToggler_(new ToggleSwitch) {
    setFixedSize(BatteryHealthView::kWidth, kExpandedHeight);
    batteryHealthView_->move(0, 0);
    cell_->setGeometry(0, batteryHealthView_->height(), BatteryHealthView::kWidth, kCellHeight);
    cell_->installEventFilter(this);
    settingsView_->setGeometry(0, cell_->geometry().bottom() + 1, BatteryHealthView::kWidth,
                               kSettingsHeight);
    switchRow("settings.menuBar.showsBatteryPercentage", percentageToggler_, settingsView_, 0, this);
    switchRow("settings.menuBar.batteryTintColor", tintColorToggler_, settingsView_, 40, this);
    settingsView_->setVisible(false);
    DynamicAppearance::addChanged(this, [this](const Notification&) { update(); });
}

void MenuBatteryHealthViewController::setExpanded(bool expanded) {
    isExpanded_ = expanded;
    settingsView_->setVisible(expanded);
    cell_->update();
    if (tapHandler)
        tapHandler(expanded);
}

bool MenuBatteryHealthViewController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == cell_) {
        switch (event->type()) {
        case QEvent::Enter:
            isMouseEntered_ = true;
            cell_->update();
            break;
        case QEvent::Leave:
            isMouseEntered_ = false;
            cell_->update();
            break;
        case QEvent::MouseButtonRelease:
            if (static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton)
                setExpanded(!isExpanded_);
            return true;
        default:
            break;
        }
        return false;
    }
    if (event->type() == QEvent::Paint) {
        auto* label = static_cast<QWidget*>(watched);
        QPainter p(label);
        p.setRenderHint(QPainter::TextAntialiasing);
        const QString text = label->property("text").toString();
        p.setFont(
            HomeStyle::fitted(MenuDrawing::systemFont(12, QFont::Normal), text, label->width()));
        p.setPen(DynamicColor::dynamicTextColor());
        p.drawText(label->rect(), Qt::AlignLeft | Qt::AlignVCenter, text);
        return true;
    }
    return QWidget::eventFilter(watched, event);
}
