#pragma once

#include <QString>
#include <QWidget>

#include <functional>

class QToolButton;

// The 44-point title bar at the top of a sliding page: a back button on the left and the
// page's title in the middle.
class TitleView : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 44;

    explicit TitleView(QWidget* parent = nullptr);

    QString title() const { return title_; }
    void setTitle(const QString& title);
    QToolButton* backButton() const { return backButton_; }
    // Called by the back button.
    std::function<void()> backHandler;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QString title_;
    QToolButton* backButton_;
};
