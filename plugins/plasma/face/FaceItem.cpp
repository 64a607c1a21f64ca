#include "FaceItem.h"

#include <QDBusConnection>
#include <QQuickWindow>
#include <QSGSimpleTextureNode>

#include <algorithm>
#include <cmath>

namespace {
constexpr int kNaturalHeight = 22;
constexpr int kMinHeight = 8;
constexpr int kMaxHeight = 512;
} // namespace

FaceItem::FaceItem(QQuickItem* parent) : QQuickItem(parent), watch_(QDBusConnection::sessionBus()) {
    setFlag(ItemHasContents, true);
    requestTimer_.setSingleShot(true);
    requestTimer_.setInterval(0);
    connect(&requestTimer_, &QTimer::timeout, this, &FaceItem::sendRequest);
    connect(&watch_, &FaceWatch::faceChanged, this, &FaceItem::takeFace);
}

void FaceItem::setItem(const QString& item) {
    if (item == item_)
        return;
    item_ = item;
    aspect_ = 0;
    emit itemChanged();
    scheduleRequest();
}

void FaceItem::setTextColor(const QColor& colour) {
    if (colour == textColor_)
        return;
    textColor_ = colour;
    emit textColorChanged();
    scheduleRequest();
}

void FaceItem::setPanelThickness(int thickness) {
    if (thickness == panelThickness_)
        return;
    panelThickness_ = thickness;
    emit panelThicknessChanged();
    scheduleRequest();
}

void FaceItem::setVertical(bool vertical) {
    if (vertical == vertical_)
        return;
    vertical_ = vertical;
    emit verticalChanged();
    scheduleRequest();
}

void FaceItem::setDevicePixelRatio(qreal ratio) {
    if (qFuzzyCompare(ratio, devicePixelRatio_))
        return;
    devicePixelRatio_ = ratio;
    emit devicePixelRatioChanged();
    scheduleRequest();
}

void FaceItem::scheduleRequest() {
    requestTimer_.start();
}

void FaceItem::sendRequest() {
    FaceWatch::Request request;
    request.item = item_;
    int height = kNaturalHeight;
    if (!vertical_ && panelThickness_ > 0)
        height = panelThickness_;
    else if (vertical_ && panelThickness_ > 0 && aspect_ > 0)
        height = static_cast<int>(std::floor(panelThickness_ / aspect_));
    request.height = std::clamp(std::min(height, kMaxHeight), kMinHeight, kMaxHeight);
    qreal scale = devicePixelRatio_;
    if (scale <= 0)
        scale = window() ? window()->effectiveDevicePixelRatio() : 1.0;
    request.scale = std::clamp(scale, 0.25, 8.0);
    request.colour = textColor_.isValid() ? textColor_.rgba() : 0;
    watch_.setRequest(request);
}

void FaceItem::takeFace() {
    const QSize size = watch_.size();
    if (!size.isEmpty()) {
        const double aspect = double(size.width()) / size.height();
        const bool tooWide = vertical_ && panelThickness_ > 0 && size.width() > panelThickness_;
        if (tooWide && std::abs(aspect - aspect_) > 1e-6) {
            // Learnt how wide the face is for its height: ask again at a height that fits.
            aspect_ = aspect;
            scheduleRequest();
        }
        aspect_ = aspect;
    }
    setImplicitSize(size.width(), size.height());
    newPicture_ = true;
    update();
    emit faceChanged();
}

void FaceItem::showPanel(const QString& edge) {
    watch_.showPanel(anchorPoint(QRectF(mapToGlobal(QPointF(0, 0)), size()), edge), edge);
}

void FaceItem::showSettings() {
    watch_.showSettings();
}

QPoint FaceItem::anchorPoint(const QRectF& rect, const QString& edge) {
    QPointF point(rect.center().x(), rect.bottom()); // a top panel, or one we do not know
    if (edge == QLatin1String("bottom"))
        point = QPointF(rect.center().x(), rect.top());
    else if (edge == QLatin1String("left"))
        point = QPointF(rect.right(), rect.center().y());
    else if (edge == QLatin1String("right"))
        point = QPointF(rect.left(), rect.center().y());
    return point.toPoint();
}

QSGNode* FaceItem::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
    const QImage& image = watch_.image();
    if (image.isNull() || !window()) {
        delete old;
        return nullptr;
    }
    auto* node = static_cast<QSGSimpleTextureNode*>(old);
    if (!node) {
        node = new QSGSimpleTextureNode;
        node->setOwnsTexture(true);
        node->setFiltering(QSGTexture::Nearest);
        newPicture_ = true;
    }
    if (newPicture_) {
        node->setTexture(window()->createTextureFromImage(image));
        newPicture_ = false;
    }
    // Centred on whole device pixels, so the picture lands on the screen unscaled.
    const qreal ratio = window()->effectiveDevicePixelRatio();
    const QSizeF faceSize = QSizeF(image.size()) / image.devicePixelRatio();
    const auto snap = [ratio](qreal v) { return std::round(v * ratio) / ratio; };
    node->setRect(QRectF(snap((width() - faceSize.width()) / 2),
                         snap((height() - faceSize.height()) / 2), faceSize.width(),
                         faceSize.height()));
    return node;
}

void FaceItem::itemChange(ItemChange change, const ItemChangeData& value) {
    if (change == ItemSceneChange || change == ItemDevicePixelRatioHasChanged)
        scheduleRequest();
    QQuickItem::itemChange(change, value);
}
