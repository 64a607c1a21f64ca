#pragma once

#include "NetMenuBox.h"

#include <QColor>

// The older family of network item styles, rooted in MenuBox. Each matches its successor of
// the same name except where noted: every classic style honours the no-network state, the
// megabyte values are single precision, the solo figure treats unknown traffic types as the
// sum, and the luxury style's lower line shows the connection's running totals.
class MenuBox : public NetMenuBox {
    Q_OBJECT
public:
    explicit MenuBox(bool isImageRenderingAsTemplate = false);
    static constexpr double wantsWidth = 52;
    double defaultWidth() const override { return wantsWidth; }
    BoxType boxType() const override { return BoxType::menuBox; }
    // Creates the classic class of a type (null for other types).
    static std::unique_ptr<NetMenuBox> createClassic(BoxType type);

    void update(const ActivityObject& activity) override;
    // The subclasses' texts for a record with a network.
    virtual void writeTexts(const ActivityObject&) {}

    bool isImageRenderingAsTemplate = false;
    bool showEmptyView = true;
    bool wantsUserInteractionEvent = false;
    QColor imageColor;

    // "%ld KB" below 1025 KB, else "%.2lf MB" from a single-precision megabyte value.
    static QString compactText(uint64_t kb);
    // Single-precision megabytes.
    static float megabytes(uint64_t kb);

protected:
    void drawContent(QPainter& p) const override;
    virtual void drawSpeeds(QPainter&) const {}
    void drawArrowPair(QPainter& p) const;
    QColor arrowColour() const;
    void updateImageColor();
};

class MenuCompactBox : public MenuBox {
    Q_OBJECT
public:
    using MenuBox::MenuBox;
    static constexpr double wantsWidth = 48;
    double defaultWidth() const override { return wantsWidth; }
    BoxType boxType() const override { return BoxType::menuCompactBox; }
    void writeTexts(const ActivityObject& activity) override;
    QString top, bottom;

protected:
    void drawSpeeds(QPainter& p) const override;
};

class MenuWideBox : public MenuBox {
    Q_OBJECT
public:
    using MenuBox::MenuBox;
    static constexpr double wantsWidth = 124;
    double defaultWidth() const override { return wantsWidth; }
    BoxType boxType() const override { return BoxType::menuWideBox; }
    void writeTexts(const ActivityObject& activity) override;
    // "12" + "KB", "1.5" + "MB", "15" + "MB".
    static std::pair<QString, QString> byteText(uint64_t kb);
    std::pair<QString, QString> left, right;

protected:
    void drawSpeeds(QPainter& p) const override;
};

class MenuLuxuryBox : public MenuWideBox {
    Q_OBJECT
public:
    using MenuWideBox::MenuWideBox;
    BoxType boxType() const override { return BoxType::menuLuxuryBox; }
    void writeTexts(const ActivityObject& activity) override;
    QString totalLeft, totalRight;

protected:
    void drawSpeeds(QPainter& p) const override;
};

class MenuStockBox : public MenuBox {
    Q_OBJECT
public:
    explicit MenuStockBox(bool isImageRenderingAsTemplate = false);
    static constexpr double wantsWidth = 124;
    double defaultWidth() const override { return wantsWidth; }
    BoxType boxType() const override { return BoxType::menuStockBox; }
    void writeTexts(const ActivityObject& activity) override;
    // No stored series: the names are empty.
    StockView_T sentStock{QString()};
    StockView_T receivedStock{QString()};

protected:
    void drawSpeeds(QPainter& p) const override;
};

class MenuIconBox : public MenuBox {
    Q_OBJECT
public:
    using MenuBox::MenuBox;
    static constexpr double wantsWidth = 22;
    double defaultWidth() const override { return wantsWidth; }
    BoxType boxType() const override { return BoxType::menuIconBox; }

protected:
    void drawContent(QPainter& p) const override;
};

class MenuSoloBox : public MenuBox {
    Q_OBJECT
public:
    explicit MenuSoloBox(bool isImageRenderingAsTemplate = false);
    static constexpr double wantsWidth = 32;
    double defaultWidth() const override { return wantsWidth; }
    BoxType boxType() const override { return BoxType::menuSoloBox; }
    void writeTexts(const ActivityObject& activity) override;
    // "%ld" over "KB/s" below 1025 KB, else "%.1lf" (above 10 MB) or "%.2lf" over "MB/s".
    static std::pair<QString, QString> soloText(uint64_t kb);
    int trafficType = 0;
    std::pair<QString, QString> figure;

protected:
    void drawSpeeds(QPainter& p) const override;
};

class MenuDoubleSoloBox : public MenuBox {
    Q_OBJECT
public:
    using MenuBox::MenuBox;
    static constexpr double wantsWidth = 92;
    double defaultWidth() const override { return wantsWidth; }
    BoxType boxType() const override { return BoxType::menuDoubleSoloBox; }
    void writeTexts(const ActivityObject& activity) override;
    std::pair<QString, QString> left, right;

protected:
    void drawSpeeds(QPainter& p) const override;
};
