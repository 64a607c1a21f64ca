#pragma once

#include "SettingControl.h"

#include <QSet>
#include <QString>
#include <QWidget>

#include <vector>

class ActivityObject;
class QFormLayout;
class QLabel;
class QPushButton;
class QVBoxLayout;

// One page of the settings window: titled sections of labelled controls, each bound to its
// key. Every label gets a keyboard mnemonic of its own on the page.
class SettingsPage : public QWidget {
    Q_OBJECT
public:
    using Json = SettingControl::Json;
    using Choice = SettingControl::Choice;

    SettingsPage(const QString& title, SettingControl::Writer writer, QWidget* parent = nullptr);

    const QString& title() const { return title_; }
    const std::vector<SettingControl*>& controls() const { return controls_; }

    // One tick of the sampler while the window is on screen (live previews).
    virtual void activityDidUpdate(const ActivityObject& activity);

    // The text of a localisation key.
    static QString text(const char* key);
    // text with a keyboard mnemonic (an '&') on a letter not taken yet in used; where the text
    // has no free Latin letter (Chinese, Japanese) a "(&X)" is appended, as is usual there.
    static QString withMnemonic(const QString& text, QSet<QChar>& used);

protected:
    QLabel* addSection(const QString& title);
    SettingControl* addCheck(const char* key, const char* labelKey, Json on = Json(true),
                             Json off = Json(false));
    SettingControl* addCombo(const char* key, const char* labelKey, std::vector<Choice> choices,
                             int fallback = 0);
    SettingControl* addSlider(const char* key, const char* labelKey, int min, int max,
                              double divisor);
    // A row with a label (and its mnemonic) naming field.
    void addRow(const QString& label, QWidget* field);
    // A whole-width row.
    void addWidget(QWidget* widget);
    QLabel* addNote(const QString& text);
    QPushButton* addButton(const QString& label);
    // Adds a control made elsewhere on the page.
    SettingControl* keep(SettingControl* control);
    QString mnemonic(const QString& text) { return withMnemonic(text, used_); }

    const SettingControl::Writer& writer() const { return writer_; }

private:
    QFormLayout* form();

    QString title_;
    SettingControl::Writer writer_;
    QVBoxLayout* layout_;
    QFormLayout* form_ = nullptr;
    std::vector<SettingControl*> controls_;
    QSet<QChar> used_;
};
