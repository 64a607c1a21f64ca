#pragma once

#include "SettingsPage.h"

#include <functional>

class QLabel;
class QPushButton;

// Launch at login, language (with the note that a new one applies at the next start), the
// sampler's priority, the look (accent colour, blur, animation), and the reset, feedback and
// quit buttons.
class GeneralSettingsPage : public SettingsPage {
    Q_OBJECT
public:
    struct Actions {
        std::function<bool()> confirmReset; // empty: ask in a message box
        std::function<void()> resetData;    // empty: the totals, the hours, the battery log
        std::function<void()> feedback;
        std::function<void()> quit; // empty: QCoreApplication::quit
    };

    GeneralSettingsPage(SettingControl::Writer writer, Actions actions, QWidget* parent = nullptr);

    QLabel* languageNote() const { return languageNote_; }
    QPushButton* resetButton() const { return resetButton_; }

    // Clears the data totals, the hourly usage and the battery percentage log.
    void resetData();

private:
    void languageChanged();

    Actions actions_;
    QLabel* languageNote_;
    QPushButton* resetButton_;
};
