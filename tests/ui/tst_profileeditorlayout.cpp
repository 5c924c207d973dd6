#include "axiseffectswidget.h"
#include "scratchworkingdirectory.h"
#include "threeaxiseffectswidget.h"

#include <QComboBox>
#include <QDir>
#include <QGroupBox>
#include <QLabel>
#include <QListView>
#include <QPushButton>
#include <QScrollArea>
#include <QSlider>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTabWidget>
#include <QtTest>

namespace {
// The editor as the main window shows it: a tab of about 600 x 480 beside the status panel.
constexpr int EditorWidth = 600;
constexpr int EditorHeight = 480;

const QList<QList<int>> effectsPerAxis{
    {0, 5, 3, 4},  // ailerons: airflow spring, AoA shaker, DirectX, landing jolt
    {2, 6, 7, 12}, // elevator: elevator weight, gear, flaps, smart dampers
    {1, 8, 9},     // rudder: simple spring, airbrakes, ground rolling
};

// True when a widget shows whole inside `area` (both in the same top-level coordinates).
bool inside(const QWidget *widget, const QRect &area) {
    const QRect rect(widget->mapTo(widget->window(), QPoint(0, 0)), widget->size());
    return area.contains(rect);
}

void saveShot(QWidget *widget, const QString &name) {
    const QString folder = qEnvironmentVariable("QUILLAR_SCREENSHOT_DIR");
    if (folder.isEmpty())
        return;
    QDir().mkpath(folder);
    widget->grab().save(QDir(folder).filePath(name + QStringLiteral(".png")));
}

// Every label, spin box, slider and button of a page gets at least the room it asks for.
void verifyNothingSqueezed(QWidget *page) {
    for (QLabel *label : page->findChildren<QLabel *>()) {
        if (label->isVisible())
            QVERIFY2(label->width() >= label->minimumSizeHint().width(), qPrintable(label->text()));
    }
    for (QSpinBox *spin : page->findChildren<QSpinBox *>()) {
        QVERIFY2(spin->width() >= spin->minimumSizeHint().width(), qPrintable(spin->objectName()));
        QVERIFY2(spin->height() >= spin->minimumSizeHint().height(), qPrintable(spin->objectName()));
    }
    for (QSlider *slider : page->findChildren<QSlider *>())
        QVERIFY2(slider->width() >= 60, qPrintable(slider->objectName()));
    for (QPushButton *button : page->findChildren<QPushButton *>())
        QVERIFY2(button->width() >= button->minimumSizeHint().width(), qPrintable(button->text()));
}
} // namespace

class TestProfileEditorLayout : public QObject {
    Q_OBJECT

private slots:
    void everyPageFitsTheMainWindowTab() {
        ScratchWorkingDirectory scratch;
        QVERIFY(scratch.isValid());
        ThreeAxisEffectsWidget editor;
        editor.resize(EditorWidth, EditorHeight);
        editor.show();
        QVERIFY(QTest::qWaitForWindowExposed(&editor));
        auto *tabs = editor.findChild<QTabWidget *>(QStringLiteral("tabWidget"));
        const QRect window(QPoint(0, 0), editor.size());

        for (const char *name : {"game_combo", "flight_module_input", "profile_comment_input",
                                 "profile_combo", "save_profile", "delete_profile"}) {
            auto *control = editor.findChild<QWidget *>(QLatin1String(name));
            QVERIFY2(inside(control, window), name);
            QVERIFY2(control->width() >= control->minimumSizeHint().width(), name);
        }
        saveShot(&editor, QStringLiteral("00_editor"));

        for (int axisIndex = 0; axisIndex < 3; ++axisIndex) {
            tabs->setCurrentIndex(axisIndex);
            auto *axis = qobject_cast<AxisEffectsWidget *>(tabs->currentWidget());
            auto *combo = axis->findChild<QComboBox *>(QStringLiteral("effects_combo"));
            auto *add = axis->findChild<QPushButton *>(QStringLiteral("activate_effect_button"));
            for (int type : effectsPerAxis.at(axisIndex)) {
                combo->setCurrentIndex(type);
                QTest::mouseClick(add, Qt::LeftButton);
            }
            QVERIFY(inside(combo, window));
            QVERIFY(inside(add, window));
            auto *list = axis->findChild<QListView *>(QStringLiteral("active_effects_list"));
            QCOMPARE(list->model()->rowCount(), effectsPerAxis.at(axisIndex).size());
            auto *stack = axis->findChild<QStackedWidget *>(QStringLiteral("effects_stack"));
            for (int row = 0; row < list->model()->rowCount(); ++row) {
                axis->listClicked(list->model()->index(row, 0));
                QApplication::processEvents();
                QWidget *page = stack->currentWidget();
                saveShot(&editor,
                         QStringLiteral("%1_%2_%3").arg(axisIndex + 1).arg(row).arg(page->objectName()));
                QVERIFY(page->objectName() != QStringLiteral("select_effect_page"));
                QVERIFY2(inside(page, window), qPrintable(page->objectName()));
                // The remove button always shows; tall settings scroll inside their group.
                auto *remove = page->findChild<QPushButton *>();
                QVERIFY2(inside(remove, window), qPrintable(page->objectName()));
                auto *scroll = page->findChild<QScrollArea *>();
                QVERIFY(scroll);
                QVERIFY2(scroll->widget()->width() <= scroll->viewport()->width(),
                         qPrintable(page->objectName()));
                verifyNothingSqueezed(page);
            }
        }
    }
};

QTEST_MAIN(TestProfileEditorLayout)
#include "tst_profileeditorlayout.moc"
