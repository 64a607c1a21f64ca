#pragma once

#include "SettingsPage.h"

#include <functional>

class QLabel;

// The per-app usage switch and what counting per application needs.
class AppUsageSettingsPage : public SettingsPage {
    Q_OBJECT
public:
    // trackTool: where the per-process traffic tool is, "" when it is missing.
    AppUsageSettingsPage(SettingControl::Writer writer, std::function<QString()> trackTool,
                         QWidget* parent = nullptr);

    QLabel* toolNote() const { return toolNote_; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void reloadTool();

    std::function<QString()> trackTool_;
    QLabel* toolNote_;
};
