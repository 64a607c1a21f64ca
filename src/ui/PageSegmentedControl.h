#pragma once

#include <QStringList>
#include <QWidget>

#include <functional>

// A row of equally wide segments of which exactly one is selected, drawn as a rounded track
// with a raised pitch under the selected title. Clicks, the arrow keys and Home/End select.
class PageSegmentedControl : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 28;

    explicit PageSegmentedControl(QStringList titles, QWidget* parent = nullptr);

    const QStringList& titles() const { return titles_; }
    int selectedIndex() const { return selected_; }
    // Selects index without calling the handler; an index outside the segments is ignored.
    void setSelectedIndex(int index);
    // The rectangle of segment index in the control's coordinates.
    QRectF segmentRect(int index) const;

    // Called with the new index after the user changed the selection.
    std::function<void(int)> selectionHandler;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void choose(int index);

    QStringList titles_;
    int selected_ = 0;
};
