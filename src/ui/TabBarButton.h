#pragma once

#include <QAbstractButton>
#include <QSize>
#include <QString>

#include <functional>

// One tab of the tab bar: a picture above a short title, in the tint colour while selected
// and in the secondary text colour otherwise. It takes the keyboard focus; Space, Return and
// Enter press it.
class TabBarButton : public QAbstractButton {
    Q_OBJECT
public:
    TabBarButton(const QString& title, QString image, QSize imageSize, QWidget* parent = nullptr);

    QString title() const { return text(); }
    QString image() const { return image_; }
    QSize imageSize() const { return imageSize_; }
    bool isSelected() const { return selected_; }
    void setSelected(bool selected);
    // Called when the button is pressed (mouse or keyboard).
    std::function<void()> tapHandler;

    // Where the picture is drawn inside the button.
    QRect imageRect() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QString image_;
    QSize imageSize_;
    bool selected_ = false;
};
