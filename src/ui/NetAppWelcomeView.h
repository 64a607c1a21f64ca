#pragma once

#include <QWidget>

class QPushButton;

// The first-use overlay of the per-app usage page: what the page records, and a note when the
// traffic tool is not installed. Its button fades it out and removes it.
class NetAppWelcomeView : public QWidget {
    Q_OBJECT
public:
    // Length of the fade in milliseconds (0: the overlay goes at once).
    static int fadeDuration;

    NetAppWelcomeView(bool canRunScript, QWidget* parent);

    QPushButton* button() const { return button_; }
    bool showsNote() const { return !canRunScript_; }

signals:
    // The button was pressed; the overlay is on its way out.
    void dismissed();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void fadeOut();

    bool canRunScript_;
    QPushButton* button_;
};
