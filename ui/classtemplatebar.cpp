#include "classtemplatebar.h"

#include "profilestore.h"
#include "threeaxiseffectswidget.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>

ClassTemplateBar::ClassTemplateBar(ThreeAxisEffectsWidget *editor, bool useClassTemplate, QWidget *parent)
    : QFrame(parent), editor(editor), label(new QLabel(this)), chooser(new QComboBox(this)),
      create(new QPushButton(tr("Create profile"), this)), dismiss(new QPushButton(tr("Not now"), this)),
      useTemplate(useClassTemplate) {
    setObjectName(QStringLiteral("class_template_bar"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::ToolTipBase);
    label->setObjectName(QStringLiteral("class_template_text"));
    label->setForegroundRole(QPalette::ToolTipText);
    // A long aircraft name wraps rather than widening the window.
    label->setWordWrap(true);
    label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    chooser->setObjectName(QStringLiteral("class_chooser"));
    chooser->setPlaceholderText(tr("Aircraft class"));
    for (AircraftClass aircraftClass : AircraftClasses::all())
        chooser->addItem(AircraftClasses::name(aircraftClass), int(aircraftClass));
    create->setObjectName(QStringLiteral("create_profile"));
    dismiss->setObjectName(QStringLiteral("not_now"));

    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(8, 4, 8, 4);
    layout->addWidget(label, 1);
    layout->addWidget(chooser);
    layout->addWidget(create);
    layout->addWidget(dismiss);

    connect(create, &QPushButton::clicked, this, &ClassTemplateBar::createProfile);
    connect(dismiss, &QPushButton::clicked, this, &ClassTemplateBar::notNow);
    connect(chooser, &QComboBox::currentIndexChanged, this, [this](int index) {
        create->setEnabled(index >= 0);
        // While a template stands in for the missing profile, choosing another class flies with that one.
        const AircraftClass chosen =
            index >= 0 ? AircraftClass(chooser->itemData(index).toInt()) : AircraftClass::None;
        if (unmatched && chosen != AircraftClass::None &&
            this->editor->templateInUse() != AircraftClass::None && this->editor->templateInUse() != chosen) {
            this->editor->useTemplate(chosen, source, flightModule);
            refreshText();
        }
    });
    create->setEnabled(false);
    hide();
}

QString ClassTemplateBar::text() const {
    return label->text();
}

void ClassTemplateBar::aircraftDetected(Telemetry::Source detectedSource, const QString &detectedModule) {
    if (detectedSource != source || detectedModule != flightModule)
        dismissed = false;
    source = detectedSource;
    flightModule = detectedModule;
    // The source may have told its facts before the detection reached the window.
    facts = (reportedSource == source && reportedModule == flightModule) ? reportedFacts : AircraftFacts();
    evaluate();
}

void ClassTemplateBar::factsReported(Telemetry::Source aboutSource, const QString &aboutModule,
                                     const AircraftFacts &newFacts) {
    reportedSource = aboutSource;
    reportedModule = aboutModule;
    reportedFacts = newFacts;
    if (aboutSource != source || aboutModule != flightModule || newFacts == facts)
        return;
    facts = newFacts;
    if (AircraftClasses::suggest(source, flightModule, facts) != suggested)
        evaluate();
}

void ClassTemplateBar::setUseClassTemplate(bool use) {
    useTemplate = use;
    // Switched on for an aircraft that is flying without a profile: its template takes over at once.
    if (use && unmatched && suggested != AircraftClass::None &&
        editor->templateInUse() == AircraftClass::None) {
        editor->useTemplate(suggested, source, flightModule);
        refreshText();
    }
}

void ClassTemplateBar::evaluate() {
    unmatched = source != Telemetry::TELEMETRY_SOURCE_NONE && editor->isProfileActivationEnabled() &&
                ProfileStore::matchingProfile(editor->profiles(), source, flightModule).isEmpty();
    if (!unmatched) {
        hide();
        return;
    }
    suggested = AircraftClasses::suggest(source, flightModule, facts);
    // Only a class the detection names; with none the current settings stay as they are.
    if (useTemplate && suggested != AircraftClass::None)
        editor->useTemplate(suggested, source, flightModule);
    if (dismissed) {
        hide();
        return;
    }
    showFor(suggested);
}

void ClassTemplateBar::showFor(AircraftClass preset) {
    {
        const QSignalBlocker blocker(chooser);
        chooser->setCurrentIndex(chooser->findData(int(preset)));
    }
    create->setEnabled(chooser->currentIndex() >= 0);
    refreshText();
    show();
}

void ClassTemplateBar::refreshText() {
    QString state;
    const QString loaded = editor->loadedProfileText();
    if (!loaded.isEmpty())
        state = tr("using the profile of %1").arg(loaded.trimmed());
    else if (editor->templateInUse() != AircraftClass::None)
        state = tr("using the %1 template (not saved)").arg(AircraftClasses::name(editor->templateInUse()));
    else
        state = tr("forces are off");
    label->setText(
        tr("No profile for %1 (%2) — %3").arg(flightModule, ProfileStore::sourceName(source), state));
}

void ClassTemplateBar::createProfile() {
    const int index = chooser->currentIndex();
    if (index < 0)
        return;
    if (editor->createProfileFromTemplate(AircraftClass(chooser->itemData(index).toInt()), source,
                                          flightModule)) {
        unmatched = false;
        hide();
    } else
        refreshText();
}

void ClassTemplateBar::notNow() {
    dismissed = true;
    hide();
}

void ClassTemplateBar::activationDisabled() {
    unmatched = false;
    hide();
}
