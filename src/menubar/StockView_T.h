#pragma once

#include <QColor>
#include <QObject>
#include <QPainterPath>
#include <QPointF>
#include <QRectF>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

class QPainter;

// The sparkline: the last `length` values of a series drawn as a polyline over a gradient
// fill, clipped to a rounded rectangle. The series is kept under the view's name in the
// standard settings, so a sparkline made later with the same name resumes the curve.
//
// The view keeps its geometry (frame in its owner's coordinates) and draws itself through
// paint(); owners paint it inside their own drawing pass. When animated, a path change is
// eased over 0.25 s; the final path is what paintFinal() draws (the tray pixmap).
class StockView_T : public QObject {
    Q_OBJECT
public:
    explicit StockView_T(QString name, QObject* parent = nullptr);
    ~StockView_T() override;

    const QString name;
    std::optional<uint64_t> maxDataValue;
    double cornerRadius = 0;
    size_t length = 20;
    bool wantsAutoAdjustData = true;
    double lineWidth = 1.5;
    std::optional<QColor> backgroundColor; // drawn by paintOnBackground only
    const bool isInAppExtension;

    // The series, oldest first, loaded on first use.
    const std::vector<uint64_t>& data();
    QColor lineColor() const { return lineColor_; }
    void setLineColor(const QColor& colour);

    void setFrame(const QRectF& frame);
    QRectF frame() const { return frame_; }

    void append(uint64_t value);
    void updateLastWithValue(uint64_t value) { append(value); }
    void storeFrequencies();
    void resetToFlat();

    // The geometry of the current series in the view's own coordinates (origin top-left).
    struct Paths {
        std::vector<QPointF> points; // the polyline
        QPainterPath line;
        QPainterPath fill;
        bool flat = false;
    };
    Paths currentPaths() const { return paths(); }
    // The scaling factor for ceiling m: 0.2 up to 32, 0.4 up to 64, 0.6 above (1.0 when
    // auto adjustment is off).
    double scalingFactor(uint64_t ceiling) const;
    bool hasDrawn() const { return strokeOpacity_ > 0; }

    // Draws the final state at the frame's position.
    void paintFinal(QPainter& p) const;
    // Draws the animated state when animation is on, else the final one.
    void paint(QPainter& p) const;
    // The rounded box in backgroundColor (when one is set) under the frame, then paint().
    void paintOnBackground(QPainter& p) const;
    // Live windows animate path changes; the tray pixmap never does.
    void setAnimated(bool animated) { animated_ = animated; }
    // While suspended (its window is hidden) the series still grows but nothing is drawn or
    // animated; resuming draws the current series at once.
    void setDrawingSuspended(bool suspended);
    // The eased progress of the curve with control points (0.23, 1) and (0.32, 1).
    static double easing(double t);
    // Path changes ease over this long, in frames this far apart. Every sparkline of the
    // process steps on one shared timer, so the curves of a window move in one wake-up.
    static constexpr int kAnimationMs = 250;
    static constexpr int kFrameMs = 40;

signals:
    void needsDisplay();

private:
    void ensureData();
    void redraw();
    Paths buildPaths() const;
    Paths flatPaths() const;
    // The paths of the series as it is now, built when first asked for after a change: a
    // series that grows every second in an item nobody draws costs nothing but the append.
    const Paths& paths() const;
    void paintPaths(QPainter& p, const QPainterPath& line, const QPainterPath& fill) const;

    std::vector<uint64_t> data_;
    bool loaded_ = false;
    QColor lineColor_ = Qt::white;
    QRectF frame_;
    mutable Paths paths_;
    mutable bool pathsStale_ = false;
    std::vector<QPointF> fromPoints_;
    double progress_ = 1.0;
    double strokeOpacity_ = 0;
    bool animated_ = false;
    bool suspended_ = false;
    bool animating_ = false;
    qint64 animationStartMs_ = 0;
    friend class SparklineAnimationClock;
};
