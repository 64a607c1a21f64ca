#pragma once

#include <QString>
#include <QWidget>

// The home directory's disk on the home page: a bar of the used share, the used and the
// available amounts.
class StorageBox : public QWidget {
    Q_OBJECT
public:
    static constexpr int kHeight = 136;

    explicit StorageBox(QWidget* parent = nullptr);

    // Asks the storage provider again and redraws. A volume that cannot be read (total 0)
    // shows an empty bar.
    void reloadData();

    // The used share, 0 ... 1 (never NaN).
    double percentage = 0;
    QString totalAttributedString;     // the nominal size of the disk ("512 GB")
    QString usedAttributedString;      // used amount
    QString availableAttributedString; // available amount
    bool drawsTitle = true;
    bool drawsSeparator = true;
    bool drawsBackground = false;

    // The bar's frame in the box.
    QRectF barRect() const;

protected:
    void paintEvent(QPaintEvent* event) override;
};
