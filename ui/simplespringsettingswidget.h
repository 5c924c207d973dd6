#pragma once

#include "effectsettings.h"

#include <QWidget>
#include <memory>

namespace Ui {
class SimpleSpringSettingsWidget;
}

// Edits the simple spring: its total strength.
class SimpleSpringSettingsWidget : public QWidget {
    Q_OBJECT

public:
    explicit SimpleSpringSettingsWidget(QWidget *parent = nullptr);
    ~SimpleSpringSettingsWidget() override;

    // Edits these settings from now on (null: nothing) and shows them.
    void setSettings(SimpleEffectSettings *settings);
    // Shows the settings as they are, without raising any signal.
    void refresh();

signals:
    void settingsChanged();

private:
    std::unique_ptr<Ui::SimpleSpringSettingsWidget> ui;
    SimpleEffectSettings *settings = nullptr;
};
