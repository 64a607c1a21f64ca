#include "SettingsPage.h"

#include "settings/Language.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QVBoxLayout>

SettingsPage::SettingsPage(const QString& title, SettingControl::Writer writer, QWidget* parent)
    : QWidget(parent), title_(title), writer_(std::move(writer)), layout_(new QVBoxLayout(this)) {
    layout_->setContentsMargins(20, 16, 20, 16);
    layout_->setSpacing(6);
    layout_->addStretch(1);
}

void SettingsPage::activityDidUpdate(const ActivityObject&) {}

QString SettingsPage::text(const char* key) {
    return Language::getLocalizedString(QString::fromUtf8(key));
}

QString SettingsPage::withMnemonic(const QString& text, QSet<QChar>& used) {
    QString escaped = text;
    escaped.replace(QLatin1Char('&'), QLatin1String("&&"));
    for (qsizetype i = 0; i < escaped.size(); ++i) {
        const QChar c = escaped[i];
        if (c.unicode() < 128 && c.isLetter() && !used.contains(c.toLower())) {
            used.insert(c.toLower());
            return escaped.left(i) + QLatin1Char('&') + escaped.mid(i);
        }
    }
    for (char c = 'a'; c <= 'z'; ++c) {
        if (!used.contains(QLatin1Char(c))) {
            used.insert(QLatin1Char(c));
            return escaped + QStringLiteral(" (&%1)").arg(QChar::fromLatin1(c).toUpper());
        }
    }
    return escaped;
}

QFormLayout* SettingsPage::form() {
    if (!form_) {
        form_ = new QFormLayout;
        form_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
        form_->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
        form_->setHorizontalSpacing(16);
        layout_->insertLayout(layout_->count() - 1, form_);
    }
    return form_;
}

QLabel* SettingsPage::addSection(const QString& title) {
    auto* label = new QLabel(title, this);
    QFont font = label->font();
    font.setBold(true);
    label->setFont(font);
    layout_->insertSpacing(layout_->count() - 1, form_ ? 12 : 0);
    layout_->insertWidget(layout_->count() - 1, label);
    form_ = nullptr; // the next rows start a new form under the title
    return label;
}

SettingControl* SettingsPage::keep(SettingControl* control) {
    controls_.push_back(control);
    return control;
}

SettingControl* SettingsPage::addCheck(const char* key, const char* labelKey, Json on, Json off) {
    auto* box = new QCheckBox(mnemonic(text(labelKey)), this);
    addWidget(box);
    return keep(SettingControl::check(QString::fromLatin1(key), box, writer_, std::move(on),
                                      std::move(off)));
}

SettingControl* SettingsPage::addCombo(const char* key, const char* labelKey,
                                       std::vector<Choice> choices, int fallback) {
    auto* box = new QComboBox(this);
    addRow(text(labelKey), box);
    return keep(SettingControl::combo(QString::fromLatin1(key), box, std::move(choices), writer_,
                                      fallback));
}

SettingControl* SettingsPage::addSlider(const char* key, const char* labelKey, int min, int max,
                                        double divisor) {
    auto* slider = new QSlider(Qt::Horizontal, this);
    slider->setRange(min, max);
    slider->setPageStep((max - min) / 6);
    addRow(text(labelKey), slider);
    return keep(SettingControl::slider(QString::fromLatin1(key), slider, divisor, writer_));
}

void SettingsPage::addRow(const QString& label, QWidget* field) {
    auto* name = new QLabel(mnemonic(label), this);
    name->setBuddy(field);
    form()->addRow(name, field);
}

void SettingsPage::addWidget(QWidget* widget) {
    form()->addRow(widget);
}

QLabel* SettingsPage::addNote(const QString& note) {
    auto* label = new QLabel(note, this);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setForegroundRole(QPalette::PlaceholderText);
    addWidget(label);
    return label;
}

QPushButton* SettingsPage::addButton(const QString& label) {
    auto* button = new QPushButton(mnemonic(label), this);
    button->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    addWidget(button);
    return button;
}
