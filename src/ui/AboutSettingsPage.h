#pragma once

#include "SettingsPage.h"

#include <functional>

class QPushButton;

// The version, the licences (the app's and the Saira fonts' Open Font License) and the way
// back to the first-run welcome.
class AboutSettingsPage : public SettingsPage {
    Q_OBJECT
public:
    AboutSettingsPage(std::function<void()> showWelcome, QWidget* parent = nullptr);

    QPushButton* welcomeButton() const { return welcomeButton_; }

private:
    QPushButton* welcomeButton_;
};
