#pragma once

#include "FaceWatch.h"

#include <QColor>
#include <QQuickItem>
#include <QTimer>

// Face { item: "network"; textColor: ...; panelThickness: height }
//
// Draws one of the app's faces, centred in the item, pixel for pixel as the app rendered it
// for the panel's thickness, device pixel ratio and text colour. Its implicit size is the
// face's own size (zero while the app is away), so a panel gives it exactly the style's width.
// In a vertical panel (vertical: true) the thickness is the width the face may take; it is
// drawn smaller when its natural width does not fit.
class FaceItem : public QQuickItem {
    Q_OBJECT
    Q_PROPERTY(QString item READ item WRITE setItem NOTIFY itemChanged)
    Q_PROPERTY(QColor textColor READ textColor WRITE setTextColor NOTIFY textColorChanged)
    Q_PROPERTY(
        int panelThickness READ panelThickness WRITE setPanelThickness NOTIFY panelThicknessChanged)
    Q_PROPERTY(bool vertical READ vertical WRITE setVertical NOTIFY verticalChanged)
    Q_PROPERTY(qreal devicePixelRatio READ devicePixelRatio WRITE setDevicePixelRatio NOTIFY
                   devicePixelRatioChanged)
    Q_PROPERTY(bool available READ available NOTIFY faceChanged)
    Q_PROPERTY(QString text READ text NOTIFY faceChanged)
public:
    explicit FaceItem(QQuickItem* parent = nullptr);

    QString item() const { return item_; }
    void setItem(const QString& item);
    QColor textColor() const { return textColor_; }
    void setTextColor(const QColor& colour);
    int panelThickness() const { return panelThickness_; }
    void setPanelThickness(int thickness);
    bool vertical() const { return vertical_; }
    void setVertical(bool vertical);
    // 0 (the default): the window's own ratio.
    qreal devicePixelRatio() const { return devicePixelRatio_; }
    void setDevicePixelRatio(qreal ratio);

    bool available() const { return !watch_.image().isNull(); }
    QString text() const { return watch_.text(); }

    // A click: toggles the app's panel, hung from the middle of this item's side that faces
    // the screen ("top" panel: bottom centre, "left": right centre, ...).
    Q_INVOKABLE void showPanel(const QString& edge);
    // The applet's context menu: opens (or raises) the app's settings window.
    Q_INVOKABLE void showSettings();

    // The point of rect (global) to hang the panel from for a panel along edge.
    static QPoint anchorPoint(const QRectF& rect, const QString& edge);

signals:
    void itemChanged();
    void textColorChanged();
    void panelThicknessChanged();
    void verticalChanged();
    void devicePixelRatioChanged();
    void faceChanged();

protected:
    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData* data) override;
    void itemChange(ItemChange change, const ItemChangeData& value) override;

private:
    void scheduleRequest();
    void sendRequest();
    void takeFace();

    FaceWatch watch_;
    QTimer requestTimer_; // gathers property changes of one layout pass into one request
    QString item_;
    QColor textColor_;
    int panelThickness_ = 0;
    bool vertical_ = false;
    qreal devicePixelRatio_ = 0;
    double aspect_ = 0; // the face's width / height, once known
    bool newPicture_ = false;
};
