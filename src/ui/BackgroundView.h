#pragma once

#include <QWidget>

// The panel's rounded background: the palette's content background, either translucent
// (alpha 0.6, over a blurred or plain desktop where a compositor shows it) or opaque.
class BackgroundView : public QWidget {
    Q_OBJECT
public:
    static constexpr qreal kCornerRadius = 16;
    static constexpr qreal kTranslucentAlpha = 0.6;

    explicit BackgroundView(QWidget* parent = nullptr);

    bool isTranslucent() const { return translucent_; }
    void setTranslucent(bool translucent);
    // The colour the background is filled with now.
    QColor fillColor() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    bool translucent_ = false;
};
