#pragma once

#include "GeneralSettingsPage.h"
#include "SettingControl.h"
#include "network/ActivityObserver.h"

#include <QWidget>

#include <functional>
#include <vector>

class NetworkMonitor;
class QListWidget;
class QStackedWidget;
class SettingsPage;

// The settings window: one page per area (General, Network, Battery, CPU and storage,
// Floating window, Per-app usage, About) chosen from a list on its left. Every control
// writes its key through the one checked write the command line and D-Bus use, so running
// items, the panel and the floating window change at once. One window per process: opening
// it again raises it. It follows light and dark while open.
class SettingsWindow : public QWidget, public ActivityObserver {
    Q_OBJECT
public:
    enum class Page { General, Network, Battery, System, FloatWindow, AppUsage, About };
    static constexpr int kPageCount = 7;

    struct Environment {
        SettingControl::Writer write;
        GeneralSettingsPage::Actions actions;
        std::function<bool()> hasBattery;   // empty: the battery report's answer
        std::function<QString()> trackTool; // the per-process traffic tool, "" when missing
        std::function<void()> showWelcome;
        NetworkMonitor* monitor = nullptr; // ticks for the previews while on screen
    };

    // The window's colours for the palette's current appearance (light or dark).
    static QPalette appearancePalette();

    // What the window of this process is made with (the app fills it in at start).
    static Environment& sharedEnvironment();
    // Shows the process's window (made on first use), raised and active, on page when given.
    static SettingsWindow& open();
    static SettingsWindow& open(Page page);
    // The process's window, or null before the first open.
    static SettingsWindow* existing();

    explicit SettingsWindow(Environment environment, QWidget* parent = nullptr);
    ~SettingsWindow() override;

    void showPage(Page page);
    Page currentPage() const;
    SettingsPage* page(Page page) const;
    QListWidget* pageList() const { return list_; }

    std::vector<SettingControl*> controls() const;
    // The control bound to key, or null.
    SettingControl* control(const QString& key) const;

    void networkActivityDidUpdate(const ActivityRecord& record) override;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void applyAppearance();

    Environment environment_;
    QListWidget* list_;
    QStackedWidget* stack_;
    std::vector<SettingsPage*> pages_;
    bool observing_ = false;
};
