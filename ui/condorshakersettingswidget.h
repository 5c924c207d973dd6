#pragma once

#include "effectsettings.h"

#include <QWidget>
#include <memory>

class RangeControls;

namespace Ui {
class CondorShakerSettingsWidget;
}

// Edits the Condor 2 shaker: total strength and frequency range.
class CondorShakerSettingsWidget : public QWidget {
    Q_OBJECT

public:
    explicit CondorShakerSettingsWidget(QWidget *parent = nullptr);
    ~CondorShakerSettingsWidget() override;

    // Edits these settings from now on (null: nothing) and shows them.
    void setSettings(CondorShakerSettings *settings);
    // Shows the settings as they are, without raising any signal.
    void refresh();

signals:
    void settingsChanged();

private:
    std::unique_ptr<Ui::CondorShakerSettingsWidget> ui;
    CondorShakerSettings *settings = nullptr;
    std::unique_ptr<RangeControls> frequencyRange;
};
