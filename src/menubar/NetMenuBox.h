#pragma once

#include "BoxType.h"
#include "MenuDrawing.h"
#include "StockView_T.h"
#include "network/ActivityObserver.h"
#include "settings/Settings.h"

#include <QColor>
#include <QImage>
#include <QObject>

#include <functional>
#include <memory>
#include <optional>

class QPainter;

// The base of every status item style: a 22 point high view that draws one activity
// record. Styles are driven only by update(); they draw through draw() into any painter
// (the tray pixmap, a live preview) in points, origin top-left.
class NetMenuBox : public QObject, public ActivityObserver {
    Q_OBJECT
public:
    using WidthChangedHandler = std::function<void(double width)>;

    explicit NetMenuBox(QObject* parent = nullptr);
    ~NetMenuBox() override;

    // Creates the style class of a type; cpu and storage belong to other items and
    // unspecified is the base itself.
    static std::unique_ptr<NetMenuBox> create(BoxType type);

    virtual double defaultWidth() const { return 80; }
    WidthChangedHandler widthChangedHandler;
    // First read: defaultWidth(); afterwards the last width the view announced.
    double width() const { return width_.value_or(defaultWidth()); }
    void setWidth(double w) { width_ = w; }
    virtual BoxType boxType() const { return BoxType::unspecified; }
    QColor tintColor;

    virtual void setEmpty(bool isEmpty);
    virtual void update(const ActivityObject& activity);
    void networkActivityDidUpdate(const ActivityRecord& record) override;

    // Draws the current state at width() x 22 points.
    void draw(QPainter& p) const;
    // The current state as an image of width() x 22 points at the pixel ratio.
    QImage render(qreal devicePixelRatio) const;

    // The empty (no network) label; created on first use, hidden at creation.
    MenuLabel& emptyLabel();
    bool hasEmptyLabel() const { return emptyLabel_.has_value(); }
    // Whether the arrows of this style would be drawn now.
    virtual bool arrowsVisible() const { return false; }
    // How many times the view asked to be redrawn.
    int redrawRequests() const { return redrawRequests_; }
    // A text that changes whenever the drawing would (for the same colours); empty when the
    // style draws more than its labels (curves), so only a drawing tells.
    QString drawingKey() const;

    // The colour labels draw with (follows the palette's appearance, or the colour of the
    // InkScope alive on this thread).
    static QColor labelColor();
    // Draws every style's text in colour while it lives (a panel face in its panel's colour).
    class InkScope {
    public:
        explicit InkScope(const QColor& colour);
        ~InkScope();
        InkScope(const InkScope&) = delete;
        InkScope& operator=(const InkScope&) = delete;

    private:
        std::optional<QColor> previous_;
    };
    static QString noNetworkText();

signals:
    void needsDisplay();

protected:
    virtual void drawContent(QPainter& p) const;
    // Every label the style draws, when labels (and the arrows and the empty label) are all
    // it draws; absent for styles that draw more.
    virtual std::optional<std::vector<const MenuLabel*>> drawnLabels() const {
        return std::nullopt;
    }
    void requestRedraw();
    void drawArrows(QPainter& p, double downShift) const;
    void drawEmptyLabel(QPainter& p) const;
    void updateTintColor();

    std::optional<double> width_;
    std::optional<MenuLabel> emptyLabel_;
    int redrawRequests_ = 0;
};

// The number-and-unit text: the number in the system face at bigSize, then a space and
// the unit at smallSize, both medium.
std::vector<TextRun> numberAndUnit(const QString& number, const QString& unit, qreal bigSize,
                                   qreal smallSize);

class Icon : public NetMenuBox {
    Q_OBJECT
public:
    double defaultWidth() const override { return 22; }
    BoxType boxType() const override { return BoxType::icon; }

protected:
    void drawContent(QPainter& p) const override;
    std::optional<std::vector<const MenuLabel*>> drawnLabels() const override {
        return std::vector<const MenuLabel*>{};
    }
};

class Compact : public NetMenuBox {
    Q_OBJECT
public:
    Compact();
    double defaultWidth() const override { return 48; }
    BoxType boxType() const override { return BoxType::compact; }
    void setEmpty(bool isEmpty) override;
    void update(const ActivityObject& activity) override;
    // "1024 KB", "1.00 MB".
    static QString speedText(uint64_t kb);

    MenuLabel topLabel;
    MenuLabel bottomLabel;

protected:
    void drawContent(QPainter& p) const override;
    std::optional<std::vector<const MenuLabel*>> drawnLabels() const override {
        return std::vector<const MenuLabel*>{&topLabel, &bottomLabel};
    }
};

class Wide : public NetMenuBox {
    Q_OBJECT
public:
    Wide();
    double defaultWidth() const override { return 124; }
    BoxType boxType() const override { return BoxType::wide; }
    void setEmpty(bool isEmpty) override;
    void update(const ActivityObject& activity) override;
    bool arrowsVisible() const override;

    MenuLabel leftLabel;
    MenuLabel rightLabel;

protected:
    void drawContent(QPainter& p) const override;
    std::optional<std::vector<const MenuLabel*>> drawnLabels() const override {
        return std::vector<const MenuLabel*>{&leftLabel, &rightLabel};
    }
};

class Stock : public NetMenuBox {
    Q_OBJECT
public:
    Stock();
    double defaultWidth() const override { return 104; }
    BoxType boxType() const override { return BoxType::stock; }
    void update(const ActivityObject& activity) override;
    bool arrowsVisible() const override;

    StockView_T sentStock{QStringLiteral("app.menuBar.stock.sent")};
    StockView_T receivedStock{QStringLiteral("app.menuBar.stock.received")};
    bool subviewsHidden = false;

protected:
    void drawContent(QPainter& p) const override;
};

class Solo : public NetMenuBox {
    Q_OBJECT
public:
    Solo();
    double defaultWidth() const override { return 32; }
    BoxType boxType() const override { return BoxType::solo; }
    void update(const ActivityObject& activity) override;

    int trafficType = 0;
    MenuLabel topLabel;
    MenuLabel bottomLabel;

protected:
    void drawContent(QPainter& p) const override;
    std::optional<std::vector<const MenuLabel*>> drawnLabels() const override {
        return std::vector<const MenuLabel*>{&topLabel, &bottomLabel};
    }
};

class DoubleSolo : public NetMenuBox {
    Q_OBJECT
public:
    DoubleSolo();
    double defaultWidth() const override { return 92; }
    BoxType boxType() const override { return BoxType::doubleSolo; }
    void setEmpty(bool isEmpty) override;
    void update(const ActivityObject& activity) override;
    virtual void updateValues(const ActivityObject& activity);
    bool arrowsVisible() const override;

    MenuLabel topLeft;
    MenuLabel topRight;
    MenuLabel bottomLeft;
    MenuLabel bottomRight;

protected:
    void layout();
    void drawContent(QPainter& p) const override;
    std::optional<std::vector<const MenuLabel*>> drawnLabels() const override {
        return std::vector<const MenuLabel*>{&topLeft, &topRight, &bottomLeft, &bottomRight};
    }
};

class Luxury : public DoubleSolo {
    Q_OBJECT
public:
    // Today's totals (received, sent) in KB; by default the data usage provider's.
    struct Totals {
        int64_t bytesIn = 0;
        int64_t bytesOut = 0;
    };
    static std::function<Totals()>& todayTotalsSource();

    Luxury();
    double defaultWidth() const override { return 124; }
    BoxType boxType() const override { return BoxType::luxury; }
    void updateValues(const ActivityObject& activity) override;
};

class Large : public NetMenuBox {
    Q_OBJECT
public:
    Large();
    double defaultWidth() const override { return 132; }
    BoxType boxType() const override { return BoxType::large; }
    void setEmpty(bool isEmpty) override;
    void update(const ActivityObject& activity) override;
    virtual void updateText(const ActivityObject& activity);
    void adaptWidth();
    // The widths used for the compact and wide preference.
    virtual double compactWidth() const { return 120; }
    virtual double wideWidth() const { return 144; }

    Settings::MenuBoxPreferredWidth boxPreferredWidth = Settings::MenuBoxPreferredWidth::Auto;
    MenuLabel textLabel;
    int widthAnnouncements = 0; // calls of the width handler (or would-be calls)

    static QFont numberFont();
    static QFont unitFont();
    static QFont separatorFont();

protected:
    void drawContent(QPainter& p) const override;
    std::optional<std::vector<const MenuLabel*>> drawnLabels() const override {
        return std::vector<const MenuLabel*>{&textLabel};
    }
    void readPreferredWidth();
    void announceWidth(double w);
};

class LargeWithCPU : public Large {
    Q_OBJECT
public:
    // The CPU load text; by default the CPU reader's (empty when it has none).
    static std::function<QString()>& cpuTextSource();

    double defaultWidth() const override { return 156; }
    BoxType boxType() const override { return BoxType::largeWithCPU; }
    double compactWidth() const override { return 156; }
    double wideWidth() const override { return 180; }
    void updateText(const ActivityObject& activity) override;
};

class LargeWithStock : public NetMenuBox {
    Q_OBJECT
public:
    LargeWithStock();
    double defaultWidth() const override { return 112; }
    BoxType boxType() const override { return BoxType::largeWithStock; }
    void setEmpty(bool isEmpty) override;
    void update(const ActivityObject& activity) override;
    void adaptWidth();

    Settings::MenuBoxPreferredWidth boxPreferredWidth = Settings::MenuBoxPreferredWidth::Auto;
    MenuLabel textLabel;
    StockView_T stockView{QStringLiteral("app.menuBar.stock.large")};
    int widthAnnouncements = 0;

protected:
    void drawContent(QPainter& p) const override;
    void readPreferredWidth();
    void announceWidth(double w);
};

// Stops the process after an arithmetic fault the display cannot go on from.
[[noreturn]] void menuBarFatal(const char* what);
