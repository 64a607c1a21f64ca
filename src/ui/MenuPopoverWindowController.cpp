#include "MenuPopoverWindowController.h"

#include "BackgroundView.h"
#include "ContentViewController.h"
#include "MenuPopoverWindow.h"
#include "TransitionController.h"
#include "platform/linux/X11Desktop.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWidget>

#include <cstdio>
#include <cstdlib>

namespace {

// A click on the tray item while the popup is open first closes the popup (outside click);
// the host's activation of the same click follows within this many milliseconds.
constexpr qint64 kSameClickMs = 300;

bool compositorShowsTranslucency() {
    if (X11Desktop::available())
        return X11Desktop::compositorRunning();
    return QGuiApplication::platformName().startsWith(QLatin1String("wayland"));
}

QScreen* screenAt(QPoint point) {
    if (QScreen* s = QGuiApplication::screenAt(point))
        return s;
    return QGuiApplication::primaryScreen();
}

} // namespace

MenuPopoverWindowController::MenuPopoverWindowController(QObject* parent) : QObject(parent) {
    contentSize = [] { return MenuPopoverWindow::homePanelContentSize(); };
}

MenuPopoverWindowController::~MenuPopoverWindowController() {
    delete window_;
}

MenuPopoverWindow* MenuPopoverWindowController::window() {
    if (window_)
        return window_;
    if (!embedViewController) {
        std::fprintf(stderr, "lumenstat: fatal: the panel window has no page to host\n");
        std::abort();
    }
    window_ = new MenuPopoverWindow(compositorShowsTranslucency());
    content_ = new ContentViewController(embedViewController, window_);
    content_->setGeometry(window_->rect());
    connect(window_, &MenuPopoverWindow::hidden, this, &MenuPopoverWindowController::windowHidden);
    NotificationCenter::defaultCenter().addObserver(
        this, QString::fromLatin1(SettingsKey::WantsBlurBackground),
        [this](const Notification&) { updateBackground(); });
    updateBackground();
    return window_;
}

void MenuPopoverWindowController::updateBackground() {
    if (!window_)
        return;
    const bool translucent = window_->isTranslucent() &&
                             SettingsDomain::standard().boolValue(SettingsKey::WantsBlurBackground);
    content_->backgroundView()->setTranslucent(translucent);
    if (window_->isVisible())
        X11Desktop::setBlurBehind(window_->windowHandle(), translucent);
}

void MenuPopoverWindowController::showAt(QPoint point, PanelEdge edge) {
    MenuPopoverWindow* w = window();
    if (!shownOnce_) {
        // The content size is fixed on the first showing; pages adjust it later.
        w->setPanelContentSize(contentSize ? contentSize() : w->panelContentSize());
        shownOnce_ = true;
    }
    content_->setGeometry(w->rect());
    QScreen* screen = screenAt(point);
    const QRect screenRect = screen ? screen->geometry() : QRect(0, 0, 1920, 1080);
    const QRect available = screen ? screen->availableGeometry() : screenRect;
    std::optional<QRect> bar;
    if (edge == PanelEdge::Unknown)
        bar = X11Desktop::topLevelFrameAt(point, w->windowHandle());
    w->move(PanelPlacement::origin(point, edge, bar, w->size(), screenRect, available));
    isShown_ = true;
    w->show();
    w->raise();
    w->activateWindow();
    updateBackground();
    emit didShow();
}

void MenuPopoverWindowController::toggleAt(QPoint point, PanelEdge edge) {
    if (isShown_) {
        close();
        return;
    }
    if (sinceClose_.isValid() && sinceClose_.elapsed() < kSameClickMs)
        return;
    showAt(point, edge);
}

void MenuPopoverWindowController::close() {
    explicitClose_ = true;
    if (window_ && window_->isVisible())
        window_->hide(); // windowHidden() does the rest
    else
        windowHidden();
}

void MenuPopoverWindowController::windowHidden() {
    if (!isShown_) {
        explicitClose_ = false;
        return;
    }
    isShown_ = false;
    // Only a popup that closed itself (a click outside it) may be followed by the host's
    // activation of that same click.
    if (explicitClose_)
        sinceClose_.invalidate();
    else
        sinceClose_.start();
    explicitClose_ = false;
    popPages();
    emit didClose();
}

void MenuPopoverWindowController::popPages() {
    if (!embedViewController)
        return;
    const auto pages = embedViewController->findChildren<TransitionController*>(
        QString(), Qt::FindDirectChildrenOnly);
    const int duration = TransitionController::animationDuration;
    TransitionController::animationDuration = 0;
    for (TransitionController* page : pages)
        page->dismiss();
    TransitionController::animationDuration = duration;
}
