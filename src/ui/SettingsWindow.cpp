#include "SettingsWindow.h"

#include "AboutSettingsPage.h"
#include "AppUsageSettingsPage.h"
#include "BatterySettingsPage.h"
#include "FloatWindowSettingsPage.h"
#include "NetworkSettingsPage.h"
#include "SystemSettingsPage.h"
#include "network/NetworkMonitor.h"
#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QListWidget>
#include <QPointer>
#include <QScreen>
#include <QScrollArea>
#include <QShortcut>
#include <QStackedWidget>

#include <algorithm>

namespace {

QPointer<SettingsWindow>& instance() {
    static QPointer<SettingsWindow> window;
    return window;
}

// The window's colours from the palette, so it is light or dark with the desktop.
QPalette paletteFor(const DynamicAppearance& look) {
    const bool dark = look.isDarkMode();
    QPalette p;
    const QColor text = look.textColor();
    const QColor window = dark ? QColor(36, 36, 39) : QColor(246, 246, 246);
    const QColor base = dark ? QColor(56, 56, 61) : QColor(255, 255, 255);
    const QColor button = dark ? QColor(60, 62, 67) : QColor(238, 238, 238);
    const QColor muted = look.secondaryTextColor();
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        const bool off = group == QPalette::Disabled;
        p.setColor(group, QPalette::Window, window);
        p.setColor(group, QPalette::WindowText, off ? muted : text);
        p.setColor(group, QPalette::Base, base);
        p.setColor(group, QPalette::AlternateBase, look.tableSecondaryBackgroundColor());
        p.setColor(group, QPalette::Text, off ? muted : text);
        p.setColor(group, QPalette::Button, button);
        p.setColor(group, QPalette::ButtonText, off ? muted : text);
        p.setColor(group, QPalette::PlaceholderText, muted);
        p.setColor(group, QPalette::Highlight, look.tintColor());
        p.setColor(group, QPalette::HighlightedText, Qt::white);
        p.setColor(group, QPalette::Link, look.tintColor());
        p.setColor(group, QPalette::ToolTipBase, button);
        p.setColor(group, QPalette::ToolTipText, text);
        p.setColor(group, QPalette::Light, dark ? QColor(90, 90, 96) : QColor(255, 255, 255));
        p.setColor(group, QPalette::Midlight, dark ? QColor(75, 75, 80) : QColor(228, 228, 228));
        p.setColor(group, QPalette::Mid, dark ? QColor(55, 55, 60) : QColor(190, 190, 190));
        p.setColor(group, QPalette::Dark, dark ? QColor(20, 20, 22) : QColor(160, 160, 160));
        p.setColor(group, QPalette::Shadow, QColor(0, 0, 0));
    }
    return p;
}

} // namespace

QPalette SettingsWindow::appearancePalette() {
    return paletteFor(DynamicAppearance::shared());
}

SettingsWindow::Environment& SettingsWindow::sharedEnvironment() {
    static Environment environment;
    return environment;
}

SettingsWindow* SettingsWindow::existing() {
    return instance();
}

SettingsWindow& SettingsWindow::open() {
    QPointer<SettingsWindow>& window = instance();
    if (!window)
        window = new SettingsWindow(sharedEnvironment());
    window->show();
    window->raise();
    window->activateWindow();
    return *window;
}

SettingsWindow& SettingsWindow::open(Page page) {
    SettingsWindow& window = open();
    window.showPage(page);
    return window;
}

SettingsWindow::SettingsWindow(Environment environment, QWidget* parent)
    : QWidget(parent, Qt::Window), environment_(std::move(environment)),
      list_(new QListWidget(this)), stack_(new QStackedWidget(this)) {
    setWindowTitle(SettingsPage::text("settings.title"));
    setObjectName(QStringLiteral("SettingsWindow"));
    const SettingControl::Writer& write = environment_.write;
    pages_ = {
        new GeneralSettingsPage(write, environment_.actions),
        new NetworkSettingsPage(write),
        new BatterySettingsPage(write, environment_.hasBattery),
        new SystemSettingsPage(write),
        new FloatWindowSettingsPage(write),
        new AppUsageSettingsPage(write, environment_.trackTool),
        new AboutSettingsPage(environment_.showWelcome),
    };
    int widest = 0;
    int tallest = 0;
    for (SettingsPage* page : pages_) {
        auto* scroll = new QScrollArea(stack_);
        scroll->setWidgetResizable(true);
        scroll->setFrameShape(QFrame::NoFrame);
        // Tab goes from the page list straight to the page's first control.
        scroll->setFocusPolicy(Qt::NoFocus);
        scroll->setWidget(page);
        stack_->addWidget(scroll);
        auto* item = new QListWidgetItem(page->title(), list_);
        item->setSizeHint(QSize(0, 30));
        const QSize hint = page->sizeHint();
        widest = std::max(widest, hint.width());
        tallest = std::max(tallest, hint.height());
    }
    list_->setFrameShape(QFrame::NoFrame);
    list_->setStyleSheet(QStringLiteral("QListWidget { padding: 10px 6px; }"));
    int titles = 0;
    for (SettingsPage* page : pages_)
        titles = std::max(titles, list_->fontMetrics().horizontalAdvance(page->title()));
    list_->setFixedWidth(titles + 48);
    list_->setAccessibleName(windowTitle());
    connect(list_, &QListWidget::currentRowChanged, stack_, &QStackedWidget::setCurrentIndex);
    list_->setCurrentRow(0);

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    row->addWidget(list_);
    row->addWidget(stack_, 1);

    // Wide enough for the widest page in the launch language (German is the longest), as tall
    // as the screen allows.
    const int scrollBar = 20;
    const int width = list_->width() + widest + scrollBar;
    int height = tallest;
    if (QScreen* screen = QGuiApplication::primaryScreen())
        height = std::min(height, screen->availableGeometry().height() * 4 / 5);
    setMinimumSize(list_->width() + widest + scrollBar, 360);
    resize(width, std::max(height, 480));

    // Keyboard: Ctrl+Page Down and Ctrl+Page Up walk the pages; Escape and Ctrl+W close.
    auto* next = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_PageDown), this);
    connect(next, &QShortcut::activated, this,
            [this] { list_->setCurrentRow((list_->currentRow() + 1) % kPageCount); });
    auto* previous = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_PageUp), this);
    connect(previous, &QShortcut::activated, this,
            [this] { list_->setCurrentRow((list_->currentRow() + kPageCount - 1) % kPageCount); });
    for (const QKeySequence& keys :
         {QKeySequence(Qt::Key_Escape), QKeySequence(QKeySequence::Close)}) {
        auto* close = new QShortcut(keys, this);
        connect(close, &QShortcut::activated, this, &QWidget::close);
    }

    applyAppearance();
    DynamicAppearance::addChanged(this, [this](const Notification&) { applyAppearance(); });
}

SettingsWindow::~SettingsWindow() {
    if (observing_ && environment_.monitor)
        environment_.monitor->removeActivityObserver(this);
}

void SettingsWindow::applyAppearance() {
    setPalette(appearancePalette());
    setAutoFillBackground(true);
    QPalette side = palette();
    side.setColor(QPalette::Base, side.color(QPalette::AlternateBase));
    list_->setPalette(side);
}

void SettingsWindow::showPage(Page page) {
    list_->setCurrentRow(static_cast<int>(page));
}

SettingsWindow::Page SettingsWindow::currentPage() const {
    return static_cast<Page>(std::max(0, list_->currentRow()));
}

SettingsPage* SettingsWindow::page(Page page) const {
    return pages_[static_cast<size_t>(page)];
}

std::vector<SettingControl*> SettingsWindow::controls() const {
    std::vector<SettingControl*> all;
    for (SettingsPage* page : pages_)
        all.insert(all.end(), page->controls().begin(), page->controls().end());
    return all;
}

SettingControl* SettingsWindow::control(const QString& key) const {
    for (SettingControl* c : controls())
        if (c->key() == key)
            return c;
    return nullptr;
}

void SettingsWindow::networkActivityDidUpdate(const ActivityRecord& record) {
    if (!record)
        return;
    for (SettingsPage* page : pages_)
        page->activityDidUpdate(*record);
}

void SettingsWindow::showEvent(QShowEvent* event) {
    if (!observing_ && environment_.monitor) {
        environment_.monitor->addActivityObserver(this);
        observing_ = true;
    }
    QWidget::showEvent(event);
}

void SettingsWindow::hideEvent(QHideEvent* event) {
    if (observing_ && environment_.monitor) {
        environment_.monitor->removeActivityObserver(this);
        observing_ = false;
    }
    QWidget::hideEvent(event);
}
