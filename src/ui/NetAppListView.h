#pragma once

#include "appusage/NetApp.h"

#include <QAbstractScrollArea>
#include <QHash>
#include <QIcon>
#include <QString>

#include <array>
#include <functional>
#include <vector>

// The list of the per-app usage page, in two sections: the applications (with the trailing
// "others" line) and the processes no application claims. Each row shows the entry's icon,
// its name, a bar of its share and its amount. Only the rows in view are drawn.
class NetAppListView : public QAbstractScrollArea {
    Q_OBJECT
public:
    static constexpr int kRowHeight = 56;
    static constexpr std::array<int, 2> kHeaderHeights = {36, 24};
    static constexpr int kIconSize = 36;

    // The icon name of an application entry's desktop entry ("" when unknown).
    using IconNameLookup = std::function<QString(const QString& bundleIdentifier)>;

    explicit NetAppListView(IconNameLookup iconName = {}, QWidget* parent = nullptr);

    void setSections(std::vector<NetApp> applications, std::vector<NetApp> processes);
    const std::vector<NetApp>& section(int index) const { return sections_[size_t(index)]; }
    // "No Data" for an empty section, else "3 Apps", "1 App" or "2 Others".
    static QString headerText(int section, size_t rows);
    // The icon of a row: its desktop entry's icon from the theme, else the generic one.
    QIcon iconFor(const NetApp& app);
    static const QIcon& placeholderIcon();

    // The bar of a record's row, as a line from (x1, y) to (x2, y) around the row's centre.
    static QLineF barLine(const QRectF& row, double percentage);
    // Where the amount's left edge sits.
    static qreal amountLeft(double percentage);
    // The top of row r of section s, in content coordinates.
    int rowTop(int section, int row) const;
    int contentHeight() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void updateScrollRange();

    IconNameLookup iconName_;
    std::array<std::vector<NetApp>, 2> sections_;
    QHash<QString, QIcon> icons_;
};
