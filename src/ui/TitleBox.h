#pragma once

#include <QMargins>
#include <QString>
#include <QWidget>

#include <functional>
#include <optional>

class ActivityObject;
class QToolButton;

// The top of the home page: the heading "NETWORK", the name of the network (or "NO
// NETWORK"), optionally the machine's address beneath it, and an info button that opens the
// connection details.
class TitleBox : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 60;

    explicit TitleBox(QWidget* parent = nullptr);

    std::optional<QString> title() const { return title_; }
    std::optional<QString> subtitle() const { return subtitle_; }
    void setTitle(std::optional<QString> title);
    void setSubtitle(std::optional<QString> subtitle);
    QToolButton* button() const { return button_; }
    QMargins inset{16, 10, 16, 8};
    // Called by the info button.
    std::function<void()> buttonHandler;

    // One tick: the network's name (or "Wi-Fi" / "WWAN" when it has none, "NO NETWORK"
    // without a network), the address as subtitle when showsAddress and one is known, and
    // the info button only while there is a network.
    void applyRecord(const ActivityObject& record, bool showsAddress);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void updateButtonIcon();

    std::optional<QString> title_;
    std::optional<QString> subtitle_;
    QToolButton* button_;
};
