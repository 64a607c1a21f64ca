#pragma once

#include <QObject>
#include <QString>

#include <nlohmann/json.hpp>

#include <functional>
#include <optional>
#include <vector>

class QAbstractButton;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QSlider;
class QWidget;

// Binds one settings key to the widget that shows it. A user's change goes through the
// writer (the checked, clamped write that posts the key's notifications, the same one
// `--set` and D-Bus SetValue use); a change from anywhere else (another control, a script,
// the tray menu) reaches the widget through the key's notification.
class SettingControl : public QObject {
    Q_OBJECT
public:
    using Json = nlohmann::json;
    // Writes value under key (absent: removes it); returns why it was refused, or "".
    using Writer = std::function<QString(const QString& key, const std::optional<Json>& value)>;

    struct Choice {
        QString label;
        Json value;
    };

    // A check box: checked writes on, unchecked writes off.
    static SettingControl* check(const QString& key, QCheckBox* box, const Writer& writer,
                                 Json on = Json(true), Json off = Json(false));
    // A drop-down list of choices; the stored value selects the first choice equal to it, or
    // fallback when none is.
    static SettingControl* combo(const QString& key, QComboBox* box, std::vector<Choice> choices,
                                 const Writer& writer, int fallback = 0);
    // Exclusive buttons, one per choice (their ids in group are the choice indexes).
    static SettingControl* buttons(const QString& key, QButtonGroup* group,
                                   std::vector<Choice> choices, const Writer& writer,
                                   int fallback = 0);
    // A slider whose integer position divided by divisor is the stored number.
    static SettingControl* slider(const QString& key, QSlider* slider, double divisor,
                                  const Writer& writer);
    // Check boxes that each add or remove one text of a list (kept in the boxes' order).
    static SettingControl* textSet(const QString& key, std::vector<QCheckBox*> boxes,
                                   QStringList texts, const Writer& writer);

    const QString& key() const { return key_; }
    // The first widget of the control (the one a label names).
    QWidget* widget() const;

    // How many different things a user can do with the control, and doing the i-th (as a
    // click or a selection would, through the widget).
    int actionCount() const;
    void act(int i);
    // The value the control shows, in the key's stored form.
    Json shown() const;
    // Re-reads the stored value into the widget without writing anything.
    void refresh();

    // Called after every refresh and every user change.
    std::function<void()> changed;

private:
    enum class Kind { Check, Combo, Buttons, Slider, TextSet };
    SettingControl(Kind kind, const QString& key, const Writer& writer);
    std::optional<Json> stored() const;
    void write(const Json& value);
    int choiceIndex(int fallback) const;

    Kind kind_;
    QString key_;
    Writer writer_;
    bool refreshing_ = false;
    QCheckBox* check_ = nullptr;
    QComboBox* combo_ = nullptr;
    QButtonGroup* group_ = nullptr;
    QSlider* slider_ = nullptr;
    std::vector<QCheckBox*> boxes_;
    QStringList texts_;
    std::vector<Choice> choices_;
    Json on_;
    Json off_;
    double scale_ = 1; // slider positions per stored unit
    int fallback_ = 0;
};
