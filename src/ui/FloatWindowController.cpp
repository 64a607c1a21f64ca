#include "FloatWindowController.h"

#include "menubar/StockView_T.h"
#include "platform/WindowHints.h"
#include "settings/DynamicAppearance.h"
#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>
#include <QWidget>
#include <QWindow>

#include <algorithm>
#include <cmath>
#include <limits>

// The top-level window: it paints the background, moves with a press-drag anywhere on it
// and reports moves and the user's close to its controller.
class FloatWindow : public QWidget {
public:
    FloatWindow()
        : QWidget(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                               Qt::WindowDoesNotAcceptFocus) {
        setAttribute(Qt::WA_ShowWithoutActivating);
        setFocusPolicy(Qt::NoFocus);
        setWindowTitle(QStringLiteral("Lumenstat"));
    }

    QColor background;
    bool rounded = false;
    std::function<void()> moved;
    std::function<void()> closed;

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter p(this);
        p.setCompositionMode(QPainter::CompositionMode_Source);
        if (!rounded) {
            p.fillRect(rect(), background);
            return;
        }
        p.fillRect(rect(), Qt::transparent);
        p.setRenderHint(QPainter::Antialiasing, true);
        p.setPen(Qt::NoPen);
        p.setBrush(background);
        p.drawRoundedRect(QRectF(rect()), 8, 8);
    }

    void mousePressEvent(QMouseEvent* event) override {
        if (event->button() != Qt::LeftButton)
            return QWidget::mousePressEvent(event);
        // The window manager moves the window where it can; elsewhere the window follows
        // the pointer itself.
        if (windowHandle() && windowHandle()->startSystemMove()) {
            dragOffset_.reset();
        } else {
            dragOffset_ = event->globalPosition().toPoint() - pos();
        }
        event->accept();
    }
    void mouseMoveEvent(QMouseEvent* event) override {
        if (!dragOffset_ || !(event->buttons() & Qt::LeftButton))
            return QWidget::mouseMoveEvent(event);
        move(event->globalPosition().toPoint() - *dragOffset_);
        event->accept();
    }
    void mouseReleaseEvent(QMouseEvent* event) override {
        dragOffset_.reset();
        QWidget::mouseReleaseEvent(event);
    }
    void moveEvent(QMoveEvent* event) override {
        QWidget::moveEvent(event);
        if (isVisible() && moved)
            moved();
    }
    void closeEvent(QCloseEvent* event) override {
        QWidget::closeEvent(event);
        if (event->isAccepted() && closed)
            closed();
    }

private:
    std::optional<QPoint> dragOffset_;
};

FloatWindowController::FloatWindowController(ActivitySampler& sampler,
                                             std::function<void(const void*)> windowWillClose,
                                             Options options)
    : sampler_(sampler), windowWillClose_(std::move(windowWillClose)), options_(std::move(options)),
      hints_(options_.hints ? options_.hints : WindowHints::forCurrentPlatform()),
      window_(std::make_unique<FloatWindow>()) {
    // The window: translucent only where a compositor blends it with what lies below.
    translucent_ = hints_->compositorRunning();
    window_->setAttribute(Qt::WA_TranslucentBackground, translucent_);
    window_->rounded = translucent_;
    window_->winId();
    if (QWindow* handle = window_->windowHandle())
        hints_->setShadow(*handle, Settings::shared().floatWindowHasShadow());

    contentView_ = new ContentView(options_.sources, window_.get());
    auto* layout = new QVBoxLayout(window_.get());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(contentView_);

    windowModeDidChange();
    const QSize size = window_->size();
    const auto stored =
        SettingsDomain::standard().array(SettingsKey::FloatWindowOrigin).value_or(nlohmann::json());
    QPoint origin;
    if (stored.size() == 2 && stored[0].is_number_integer() && stored[1].is_number_integer())
        origin =
            placeOnScreens(QPoint(stored[0].get<int>(), stored[1].get<int>()), size, screens());
    else
        origin = defaultOrigin(size, screens());
    window_->move(origin);

    sampler_.addActivityObserver(this);
    NotificationCenter::defaultCenter().addObserver(
        this, QString::fromLatin1(SettingsNotification::FloatWindowModeDidChange),
        [this](const Notification&) { windowModeDidChange(); });
    DynamicAppearance::addChanged(this, [this](const Notification&) { recolour(); });
    recolour();

    // A screen that goes away while the window is open: bring the window back onto the
    // screens that are left once the screen list is settled.
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, [this] {
        QTimer::singleShot(0, this, [this] {
            window_->move(placeOnScreens(window_->pos(), window_->size(), screens()));
        });
    });

    window_->moved = [this] { storeOrigin(); };
    window_->closed = [this] {
        contentView_->topStock().storeFrequencies();
        contentView_->btmStock().storeFrequencies();
        if (windowWillClose_)
            windowWillClose_(window());
    };
}

FloatWindowController::FloatWindowController(ActivitySampler& sampler,
                                             std::function<void(const void*)> windowWillClose)
    : FloatWindowController(sampler, std::move(windowWillClose), Options()) {}

FloatWindowController::~FloatWindowController() {
    sampler_.removeActivityObserver(this);
    contentView_->topStock().storeFrequencies();
    contentView_->btmStock().storeFrequencies();
    window_->moved = nullptr;
    window_->closed = nullptr;
}

QWidget& FloatWindowController::windowWidget() {
    return *window_;
}

const void* FloatWindowController::window() const {
    return window_.get();
}

void FloatWindowController::showWindow() {
    QWindow* handle = window_->windowHandle();
    if (handle && !hintsApplied_)
        hints_->keepAboveEverywhere(*handle);
    window_->show();
    window_->raise();
    if (handle && !hintsApplied_)
        hints_->keepAboveEverywhere(*handle);
    hintsApplied_ = true;
}

void FloatWindowController::close() {
    window_->close();
}

void FloatWindowController::networkActivityDidUpdate(const ActivityRecord& activity) {
    contentView_->update(activity);
}

void FloatWindowController::windowModeDidChange() {
    const WindowMode mode =
        windowModeFromStored(SettingsDomain::standard().integerValue(SettingsKey::FloatWindowMode));
    contentView_->setWindowMode(mode);
    const QSize size = windowSizeForMode(mode);
    // The lower-left corner stays where it is; only the width changes.
    const QPoint bottomLeft(window_->x(), window_->y() + window_->height());
    window_->setFixedSize(size);
    window_->move(bottomLeft.x(), bottomLeft.y() - size.height());
}

QColor FloatWindowController::backgroundColor() const {
    QColor colour = DynamicAppearance::shared().contentBackgroundColor();
    colour.setAlphaF(translucent_ ? Settings::shared().floatWindowBackgroundAlpha() : 1.0);
    return colour;
}

void FloatWindowController::recolour() {
    window_->background = backgroundColor();
    window_->update();
}

void FloatWindowController::storeOrigin() {
    const QPoint origin = window_->pos();
    SettingsDomain::standard().setValue(SettingsKey::FloatWindowOrigin,
                                        nlohmann::json::array({origin.x(), origin.y()}));
}

QList<QRect> FloatWindowController::screens() const {
    if (options_.screens)
        return options_.screens();
    QList<QRect> areas;
    if (QScreen* primary = QGuiApplication::primaryScreen())
        areas << primary->availableGeometry();
    for (QScreen* screen : QGuiApplication::screens())
        if (screen != QGuiApplication::primaryScreen())
            areas << screen->availableGeometry();
    return areas;
}

namespace {

// The smallest move that brings rect inside area (its top-left when it is larger).
QPoint clampedInto(const QRect& rect, const QRect& area) {
    const int x = std::max(area.left(), std::min(rect.left(), area.right() - rect.width() + 1));
    const int y = std::max(area.top(), std::min(rect.top(), area.bottom() - rect.height() + 1));
    return {x, y};
}

int64_t overlap(const QRect& a, const QRect& b) {
    const QRect i = a.intersected(b);
    return i.isEmpty() ? 0 : int64_t(i.width()) * i.height();
}

int64_t distanceSquared(const QRect& rect, const QPoint& point) {
    const int64_t dx = point.x() < rect.left()    ? rect.left() - point.x()
                       : point.x() > rect.right() ? point.x() - rect.right()
                                                  : 0;
    const int64_t dy = point.y() < rect.top()      ? rect.top() - point.y()
                       : point.y() > rect.bottom() ? point.y() - rect.bottom()
                                                   : 0;
    return dx * dx + dy * dy;
}

} // namespace

QPoint FloatWindowController::placeOnScreens(QPoint origin, QSize size,
                                             const QList<QRect>& screens) {
    if (screens.isEmpty())
        return origin;
    const QRect rect(origin, size);
    for (const QRect& screen : screens)
        if (screen.contains(rect))
            return origin;
    // The screen it overlaps most; with no overlap the one nearest its centre. Ties go to
    // the earlier screen, so the primary wins them.
    const QRect* best = nullptr;
    int64_t bestOverlap = 0;
    for (const QRect& screen : screens)
        if (const int64_t o = overlap(rect, screen); o > bestOverlap)
            best = &screen, bestOverlap = o;
    if (!best) {
        int64_t nearest = std::numeric_limits<int64_t>::max();
        for (const QRect& screen : screens)
            if (const int64_t d = distanceSquared(screen, rect.center()); d < nearest)
                best = &screen, nearest = d;
    }
    return clampedInto(rect, *best);
}

QPoint FloatWindowController::defaultOrigin(QSize size, const QList<QRect>& screens) {
    if (screens.isEmpty())
        return {16, 16};
    const QRect& primary = screens.front();
    return clampedInto(
        QRect(QPoint(primary.right() + 1 - 16 - size.width(), primary.top() + 16), size), primary);
}
