#pragma once

#include <QPointer>
#include <QWidget>

class BackgroundView;

// The panel window's content: the rounded background 4 points below the top, 16 from the
// left and 16 above the bottom, 272 wide, and over it a container of the same frame that
// clips the hosted page to the rounded shape.
class ContentViewController : public QWidget {
    Q_OBJECT
public:
    static constexpr int kTop = 4;
    static constexpr int kLeft = 16;
    static constexpr int kBottom = 16;

    // Hosts embedded (reparented into the container).
    explicit ContentViewController(QWidget* embedded, QWidget* parent = nullptr);

    BackgroundView* backgroundView() const { return backgroundView_; }
    QWidget* contentContainer() const { return contentContainer_; }
    QWidget* embedViewController() const { return embedded_; }
    // The frame of the background and the container for a window of this size.
    static QRect contentFrame(QSize windowSize);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    BackgroundView* backgroundView_;
    QWidget* contentContainer_;
    QPointer<QWidget> embedded_;
};
