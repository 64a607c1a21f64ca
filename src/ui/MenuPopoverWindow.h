#pragma once

#include <QSize>
#include <QWidget>

// The panel window that hangs under a status item: a frameless popup that closes when the
// user clicks anywhere outside it or presses Escape. Its size follows the hosted page's
// content size plus the margins around the rounded background.
class MenuPopoverWindow : public QWidget {
    Q_OBJECT
public:
    // Room around the content: 16 left and right, 4 above and 16 below.
    static constexpr int kHorizontalMargin = 32;
    static constexpr int kVerticalMargin = 20;
    static constexpr int kContentWidth = 272;

    // translucent: the desktop shows through the background's alpha (a compositor runs);
    // otherwise the window is cut to the rounded background.
    explicit MenuPopoverWindow(bool translucent, QWidget* parent = nullptr);

    bool isTranslucent() const { return translucent_; }
    // Fixes the window's size to contentSize plus the margins.
    void setPanelContentSize(QSize contentSize);
    QSize panelContentSize() const { return contentSize_; }
    static QSize windowSizeFor(QSize contentSize) {
        return contentSize + QSize(kHorizontalMargin, kVerticalMargin);
    }

    // The home panel's content size: 272 wide, 410 high, 546 with the storage box, plus 140
    // with the battery box on a machine that has a battery.
    static QSize homePanelContentSize(bool showsStorage, bool showsBattery, bool hasBattery);
    // The same from the stored settings and the battery report.
    static QSize homePanelContentSize();

signals:
    // The window was hidden, however that happened (outside click, Escape, close()).
    void hidden();

protected:
    void hideEvent(QHideEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    bool translucent_;
    QSize contentSize_;
};
