#pragma once

#include <QWidget>

class QPushButton;

// The first-run greeting laid over the home page; its button takes it away.
class WelcomeView : public QWidget {
    Q_OBJECT
public:
    explicit WelcomeView(QWidget* parent);

    QPushButton* startButton() const { return startButton_; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QPushButton* startButton_;
};
