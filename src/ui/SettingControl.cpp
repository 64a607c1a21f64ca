#include "SettingControl.h"

#include "settings/NotificationCenter.h"
#include "settings/Settings.h"
#include "settings/SettingsDomain.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QSlider>

#include <cmath>

SettingControl::SettingControl(Kind kind, const QString& key, const Writer& writer)
    : kind_(kind), key_(key), writer_(writer) {
    // Whoever changed the key, the widget shows what is stored now.
    NotificationCenter::defaultCenter().addObserver(this, key,
                                                    [this](const Notification&) { refresh(); });
}

SettingControl* SettingControl::check(const QString& key, QCheckBox* box, const Writer& writer,
                                      Json on, Json off) {
    auto* c = new SettingControl(Kind::Check, key, writer);
    c->setParent(box);
    c->check_ = box;
    c->on_ = std::move(on);
    c->off_ = std::move(off);
    connect(box, &QCheckBox::toggled, c, [c](bool checked) {
        if (!c->refreshing_)
            c->write(checked ? c->on_ : c->off_);
    });
    c->refresh();
    return c;
}

SettingControl* SettingControl::combo(const QString& key, QComboBox* box,
                                      std::vector<Choice> choices, const Writer& writer,
                                      int fallback) {
    auto* c = new SettingControl(Kind::Combo, key, writer);
    c->setParent(box);
    c->combo_ = box;
    c->choices_ = std::move(choices);
    c->fallback_ = fallback;
    for (const Choice& choice : c->choices_)
        box->addItem(choice.label);
    connect(box, &QComboBox::currentIndexChanged, c, [c](int i) {
        if (!c->refreshing_ && i >= 0 && i < static_cast<int>(c->choices_.size()))
            c->write(c->choices_[static_cast<size_t>(i)].value);
    });
    c->refresh();
    return c;
}

SettingControl* SettingControl::buttons(const QString& key, QButtonGroup* group,
                                        std::vector<Choice> choices, const Writer& writer,
                                        int fallback) {
    auto* c = new SettingControl(Kind::Buttons, key, writer);
    c->setParent(group);
    c->group_ = group;
    c->choices_ = std::move(choices);
    c->fallback_ = fallback;
    connect(group, &QButtonGroup::idClicked, c, [c](int i) {
        if (!c->refreshing_ && i >= 0 && i < static_cast<int>(c->choices_.size()))
            c->write(c->choices_[static_cast<size_t>(i)].value);
    });
    c->refresh();
    return c;
}

SettingControl* SettingControl::slider(const QString& key, QSlider* slider, double divisor,
                                       const Writer& writer) {
    auto* c = new SettingControl(Kind::Slider, key, writer);
    c->setParent(slider);
    c->slider_ = slider;
    c->scale_ = divisor;
    connect(slider, &QSlider::valueChanged, c, [c](int position) {
        if (!c->refreshing_)
            c->write(Json(position / c->scale_));
    });
    c->refresh();
    return c;
}

SettingControl* SettingControl::textSet(const QString& key, std::vector<QCheckBox*> boxes,
                                        QStringList texts, const Writer& writer) {
    auto* c = new SettingControl(Kind::TextSet, key, writer);
    c->setParent(boxes.front());
    c->boxes_ = std::move(boxes);
    c->texts_ = std::move(texts);
    for (QCheckBox* box : c->boxes_) {
        connect(box, &QCheckBox::toggled, c, [c] {
            if (!c->refreshing_)
                c->write(c->shown());
        });
    }
    c->refresh();
    return c;
}

QWidget* SettingControl::widget() const {
    switch (kind_) {
    case Kind::Check:
        return check_;
    case Kind::Combo:
        return combo_;
    case Kind::Buttons:
        return group_->button(0);
    case Kind::Slider:
        return slider_;
    case Kind::TextSet:
        return boxes_.front();
    }
    return nullptr;
}

std::optional<SettingControl::Json> SettingControl::stored() const {
    const SettingsDomain& domain =
        Settings::isGroupKey(key_) ? SettingsDomain::group() : SettingsDomain::standard();
    return domain.value(key_.toStdString());
}

void SettingControl::write(const Json& value) {
    if (writer_)
        writer_(key_, value);
    // The writer's notification refreshed the widget already; a refused value (or a missing
    // writer) puts the stored one back.
    refresh();
}

int SettingControl::choiceIndex(int fallback) const {
    const std::optional<Json> value = stored();
    if (value) {
        for (size_t i = 0; i < choices_.size(); ++i)
            if (choices_[i].value == *value)
                return static_cast<int>(i);
    }
    return fallback;
}

int SettingControl::actionCount() const {
    switch (kind_) {
    case Kind::Check:
        return 2;
    case Kind::Combo:
    case Kind::Buttons:
        return static_cast<int>(choices_.size());
    case Kind::Slider:
        return 2; // the two ends
    case Kind::TextSet:
        return static_cast<int>(boxes_.size());
    }
    return 0;
}

void SettingControl::act(int i) {
    switch (kind_) {
    case Kind::Check:
        if (check_->isChecked() != (i == 0))
            check_->click();
        break;
    case Kind::Combo:
        combo_->setCurrentIndex(i);
        break;
    case Kind::Buttons:
        group_->button(i)->click();
        break;
    case Kind::Slider:
        slider_->setValue(i == 0 ? slider_->minimum() : slider_->maximum());
        break;
    case Kind::TextSet:
        boxes_[static_cast<size_t>(i)]->click();
        break;
    }
}

SettingControl::Json SettingControl::shown() const {
    switch (kind_) {
    case Kind::Check:
        return check_->isChecked() ? on_ : off_;
    case Kind::Combo: {
        const int i = combo_->currentIndex();
        return i < 0 ? Json() : choices_[static_cast<size_t>(i)].value;
    }
    case Kind::Buttons: {
        const int i = group_->checkedId();
        return i < 0 ? Json() : choices_[static_cast<size_t>(i)].value;
    }
    case Kind::Slider:
        return Json(slider_->value() / scale_);
    case Kind::TextSet: {
        Json list = Json::array();
        for (size_t i = 0; i < boxes_.size(); ++i)
            if (boxes_[i]->isChecked())
                list.push_back(texts_[static_cast<qsizetype>(i)].toStdString());
        // Texts the boxes do not offer (set by a script) are kept.
        const std::optional<Json> value = stored();
        if (value && value->is_array())
            for (const Json& text : *value)
                if (text.is_string() &&
                    !texts_.contains(QString::fromStdString(text.get<std::string>())))
                    list.push_back(text);
        return list;
    }
    }
    return {};
}

void SettingControl::refresh() {
    refreshing_ = true;
    const std::optional<Json> value = stored();
    switch (kind_) {
    case Kind::Check:
        check_->setChecked(value && *value == on_);
        break;
    case Kind::Combo:
        combo_->setCurrentIndex(choiceIndex(fallback_));
        break;
    case Kind::Buttons:
        if (QAbstractButton* button = group_->button(choiceIndex(fallback_)))
            button->setChecked(true);
        break;
    case Kind::Slider: {
        const double number = value && value->is_number() ? value->get<double>() : 0.0;
        slider_->setValue(static_cast<int>(std::lround(number * scale_)));
        break;
    }
    case Kind::TextSet:
        for (size_t i = 0; i < boxes_.size(); ++i) {
            bool on = false;
            if (value && value->is_array())
                for (const Json& text : *value)
                    on = on ||
                         (text.is_string() && QString::fromStdString(text.get<std::string>()) ==
                                                  texts_[static_cast<qsizetype>(i)]);
            boxes_[i]->setChecked(on);
        }
        break;
    }
    refreshing_ = false;
    if (changed)
        changed();
}
