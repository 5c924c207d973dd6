#pragma once

#include "effectsettings.h"

#include <QWidget>
#include <memory>

namespace Ui {
class SmartDampeningSettingsWidget;
}

// Edits the smart dampers: total strength, static and dynamic dampening.
class SmartDampeningSettingsWidget : public QWidget {
    Q_OBJECT

public:
    explicit SmartDampeningSettingsWidget(QWidget *parent = nullptr);
    ~SmartDampeningSettingsWidget() override;

    // Edits these settings from now on (null: nothing) and shows them.
    void setSettings(SmartDamperSettings *settings);
    // Shows the settings as they are, without raising any signal.
    void refresh();

signals:
    void settingsChanged();

private:
    std::unique_ptr<Ui::SmartDampeningSettingsWidget> ui;
    SmartDamperSettings *settings = nullptr;
};
