#include "StockView_T.h"

#include "settings/SettingsDomain.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLinearGradient>
#include <QPainter>
#include <QPointer>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {
QPainterPath lineThrough(const std::vector<QPointF>& pts) {
    QPainterPath path;
    if (pts.empty())
        return path;
    path.moveTo(pts.front());
    for (size_t i = 1; i < pts.size(); ++i)
        path.lineTo(pts[i]);
    return path;
}

QPainterPath fillUnder(const std::vector<QPointF>& pts, double bottom) {
    QPainterPath path = lineThrough(pts);
    if (pts.empty())
        return path;
    path.lineTo(pts.back().x(), bottom);
    path.lineTo(pts.front().x(), bottom);
    path.closeSubpath();
    return path;
}
} // namespace

StockView_T::StockView_T(QString name_, QObject* parent)
    : QObject(parent), name(std::move(name_)), isInAppExtension(false) {}

// Steps every animating sparkline from one coarse timer, stopped while none animates.
class SparklineAnimationClock {
public:
    static SparklineAnimationClock& shared() {
        static SparklineAnimationClock* clock = new SparklineAnimationClock;
        return *clock;
    }
    qint64 now() const { return elapsed_.elapsed(); }
    void add(StockView_T* view) {
        if (std::find(views_.begin(), views_.end(), view) == views_.end())
            views_.push_back(view);
        if (!timer_.isActive())
            timer_.start();
    }
    void remove(StockView_T* view) {
        views_.erase(std::remove(views_.begin(), views_.end(), view), views_.end());
        if (views_.empty())
            timer_.stop();
    }

private:
    SparklineAnimationClock() {
        elapsed_.start();
        timer_.setInterval(StockView_T::kFrameMs);
        timer_.setTimerType(Qt::CoarseTimer);
        QObject::connect(&timer_, &QTimer::timeout, [this] { step(); });
    }
    void step() {
        const qint64 t = now();
        const std::vector<QPointer<StockView_T>> views(views_.begin(), views_.end());
        for (const QPointer<StockView_T>& view : views) {
            if (!view)
                continue;
            const double f = std::min(1.0, static_cast<double>(t - view->animationStartMs_) /
                                               StockView_T::kAnimationMs);
            view->progress_ = StockView_T::easing(f);
            if (f >= 1.0) {
                view->animating_ = false;
                remove(view);
            }
            emit view->needsDisplay();
        }
    }

    QElapsedTimer elapsed_;
    QTimer timer_;
    std::vector<StockView_T*> views_;
};

StockView_T::~StockView_T() {
    if (animating_)
        SparklineAnimationClock::shared().remove(this);
}

void StockView_T::ensureData() {
    if (loaded_)
        return;
    loaded_ = true;
    data_.assign(length, 0);
    if (name.isEmpty())
        return;
    const auto stored = SettingsDomain::standard().unsignedList(name.toStdString());
    if (stored && stored->size() == length)
        data_ = *stored;
}

const std::vector<uint64_t>& StockView_T::data() {
    ensureData();
    return data_;
}

void StockView_T::setLineColor(const QColor& colour) {
    lineColor_ = colour;
    emit needsDisplay();
}

void StockView_T::setFrame(const QRectF& frame) {
    if (frame == frame_)
        return;
    frame_ = frame;
    if (hasDrawn())
        pathsStale_ = true;
}

const StockView_T::Paths& StockView_T::paths() const {
    if (pathsStale_) {
        paths_ = buildPaths();
        pathsStale_ = false;
    }
    return paths_;
}

void StockView_T::append(uint64_t value) {
    ensureData();
    if (data_.empty()) {
        std::fprintf(stderr, "StockView_T: append to an empty series\n");
        std::abort();
    }
    data_.erase(data_.begin());
    data_.push_back(value);
    redraw();
    if (isInAppExtension)
        storeFrequencies();
}

void StockView_T::storeFrequencies() {
    if (name.isEmpty())
        return;
    ensureData();
    SettingsDomain::standard().setUnsignedList(name.toStdString(), data_);
}

double StockView_T::scalingFactor(uint64_t m) const {
    if (!wantsAutoAdjustData)
        return 1.0;
    if (m <= 32)
        return 0.2;
    if (m <= 64)
        return 0.4;
    return 0.6;
}

StockView_T::Paths StockView_T::flatPaths() const {
    const double w = frame_.width();
    const double h = frame_.height();
    Paths out;
    out.flat = true;
    out.points = {QPointF(0, h / 2), QPointF(w, h / 2)};
    out.line = lineThrough(out.points);
    out.fill.moveTo(0, h / 2);
    out.fill.lineTo(w, h / 2);
    out.fill.lineTo(w, h);
    out.fill.lineTo(0, h);
    out.fill.closeSubpath();
    return out;
}

StockView_T::Paths StockView_T::buildPaths() const {
    const double w = frame_.width();
    const double h = frame_.height();
    const uint64_t m = maxDataValue ? *maxDataValue : *std::max_element(data_.begin(), data_.end());
    if (m == 0)
        return flatPaths();
    const double k = scalingFactor(m);
    const size_t n = data_.size();
    Paths out;
    out.points.reserve(n);
    const double step = n > 1 ? w / static_cast<double>(n - 1) : 0.0;
    for (size_t i = 0; i < n; ++i) {
        const double ratio = static_cast<double>(data_[i]) / static_cast<double>(m);
        out.points.emplace_back(step * static_cast<double>(i), h - (0.1 * h + k * ratio * h));
    }
    out.line = lineThrough(out.points);
    out.fill = fillUnder(out.points, h);
    return out;
}

void StockView_T::setDrawingSuspended(bool suspended) {
    if (suspended == suspended_)
        return;
    suspended_ = suspended;
    if (suspended_) {
        if (animating_)
            SparklineAnimationClock::shared().remove(this);
        animating_ = false;
        progress_ = 1.0;
        return;
    }
    // Drawn as it is now, without easing from a curve that was never shown.
    paths_.points.clear();
    pathsStale_ = false;
    redraw();
}

void StockView_T::redraw() {
    if (suspended_ || frame_.isEmpty() || data_.empty())
        return;
    strokeOpacity_ = 1.0;
    if (!animated_) {
        pathsStale_ = true;
        progress_ = 1.0;
        emit needsDisplay();
        return;
    }
    std::vector<QPointF> previous = paths().points;
    paths_ = buildPaths();
    if (previous.size() != paths_.points.size()) {
        progress_ = 1.0;
        emit needsDisplay();
        return;
    }
    fromPoints_ = std::move(previous);
    progress_ = 0.0;
    animating_ = true;
    SparklineAnimationClock& clock = SparklineAnimationClock::shared();
    animationStartMs_ = clock.now();
    clock.add(this);
    emit needsDisplay();
}

void StockView_T::resetToFlat() {
    strokeOpacity_ = 1.0;
    paths_ = flatPaths();
    pathsStale_ = false;
    progress_ = 1.0;
    emit needsDisplay();
}

double StockView_T::easing(double t) {
    if (t <= 0)
        return 0;
    if (t >= 1)
        return 1;
    // Cubic Bezier from (0,0) to (1,1) with control points (0.23, 1) and (0.32, 1):
    // find the parameter s whose x equals t, answer its y.
    const double x1 = 0.23, y1 = 1.0, x2 = 0.32, y2 = 1.0;
    auto bez = [](double a, double b, double s) {
        const double u = 1 - s;
        return 3 * u * u * s * a + 3 * u * s * s * b + s * s * s;
    };
    double lo = 0, hi = 1, s = t;
    for (int i = 0; i < 40; ++i) {
        s = (lo + hi) / 2;
        if (bez(x1, x2, s) < t)
            lo = s;
        else
            hi = s;
    }
    return bez(y1, y2, s);
}

void StockView_T::paintPaths(QPainter& p, const QPainterPath& line,
                             const QPainterPath& fill) const {
    if (frame_.isEmpty() || strokeOpacity_ <= 0)
        return;
    p.save();
    p.setRenderHint(QPainter::Antialiasing, true);
    p.translate(frame_.topLeft());
    QPainterPath mask;
    const QRectF bounds(QPointF(0, 0), frame_.size());
    mask.addRoundedRect(bounds, cornerRadius, cornerRadius);
    p.setClipPath(mask);
    QLinearGradient gradient(QPointF(bounds.width() / 2, 0),
                             QPointF(bounds.width() / 2, bounds.height()));
    QColor top = lineColor_;
    top.setAlphaF(1.0);
    QColor bottom = lineColor_;
    bottom.setAlphaF(0.1);
    gradient.setColorAt(0, top);
    gradient.setColorAt(1, bottom);
    p.fillPath(fill, gradient);
    QPen pen(lineColor_, lineWidth, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    // The stroke is clipped only by the view's rounded mask, like the fill.
    p.drawPath(line);
    p.restore();
}

void StockView_T::paintFinal(QPainter& p) const {
    const Paths& now = paths();
    paintPaths(p, now.line, now.fill);
}

void StockView_T::paintOnBackground(QPainter& p) const {
    if (backgroundColor) {
        QPainterPath box;
        box.addRoundedRect(frame(), cornerRadius, cornerRadius);
        p.save();
        p.setRenderHint(QPainter::Antialiasing, true);
        p.fillPath(box, *backgroundColor);
        p.restore();
    }
    paint(p);
}

void StockView_T::paint(QPainter& p) const {
    const Paths& now = paths();
    if (!animated_ || progress_ >= 1.0 || fromPoints_.size() != now.points.size()) {
        paintFinal(p);
        return;
    }
    std::vector<QPointF> pts(now.points.size());
    for (size_t i = 0; i < pts.size(); ++i)
        pts[i] = fromPoints_[i] + (now.points[i] - fromPoints_[i]) * progress_;
    paintPaths(p, lineThrough(pts), fillUnder(pts, frame_.height()));
}
