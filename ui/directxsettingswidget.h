#pragma once

#include "effectsettings.h"

#include <QWidget>
#include <memory>

namespace Ui {
class DirectXSettingsWidget;
}

// Edits the DirectX pass-through: total strength and the spring (force), trimmer and periodic parts.
class DirectXSettingsWidget : public QWidget {
    Q_OBJECT

public:
    explicit DirectXSettingsWidget(QWidget *parent = nullptr);
    ~DirectXSettingsWidget() override;

    // Edits these settings from now on (null: nothing) and shows them.
    void setSettings(DirectXSettings *settings);
    // Shows the settings as they are, without raising any signal.
    void refresh();

signals:
    void settingsChanged();

private:
    std::unique_ptr<Ui::DirectXSettingsWidget> ui;
    DirectXSettings *settings = nullptr;
};
