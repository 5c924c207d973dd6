#pragma once

#include "effectsettings.h"

#include <QWidget>
#include <memory>

namespace Ui {
class SimpleEffectSettingsWidget;
}

// Edits an effect that has nothing but a total strength (elevator weight, IL-2 shaker).
class SimpleEffectSettingsWidget : public QWidget {
    Q_OBJECT

public:
    explicit SimpleEffectSettingsWidget(QWidget *parent = nullptr);
    ~SimpleEffectSettingsWidget() override;

    // Edits these settings from now on (null: nothing) and shows them.
    void setSettings(SimpleEffectSettings *settings);
    // Shows the settings as they are, without raising any signal.
    void refresh();

signals:
    void settingsChanged();

private:
    std::unique_ptr<Ui::SimpleEffectSettingsWidget> ui;
    SimpleEffectSettings *settings = nullptr;
};
