#include "updatecheck.h"

#include <QMessageBox>
#include <QPushButton>
#include <QStyle>
#include <QTextDocument>
#include <QTextEdit>
#include <QtTest>
#include <climits>
#include <cmath>
#include <limits>

class TestUpdateCheck : public QObject {
    Q_OBJECT

private:
    static QByteArray manifest(const QByteArray &version, const QByteArray &whatsNew = "[]") {
        return "{\"other\": 1, \"quillar\": {\"version\": " + version + ", \"whats_new\": " + whatsNew +
               ", \"extra\": true}}";
    }

private slots:
    void readsTheManifest() {
        const UpdateCheck::Manifest m =
            UpdateCheck::parseManifest(manifest("240121", "[\"Faster shaker\", \"Condor 2 fix\"]"));
        QCOMPARE(m.version, 240121.0);
        QCOMPARE(m.whatsNew, QStringList({"Faster shaker", "Condor 2 fix"}));
    }

    void malformedManifestsReadAsVersionZero_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("not json") << QByteArray("<html>502 Bad Gateway</html>");
        QTest::newRow("array") << QByteArray("[240121]");
        QTest::newRow("no quillar") << QByteArray("{\"version\": 240121}");
        QTest::newRow("quillar not an object") << QByteArray("{\"quillar\": 240121}");
        QTest::newRow("no version") << QByteArray("{\"quillar\": {\"whats_new\": []}}");
        QTest::newRow("version as text") << manifest("\"240121\"");
        QTest::newRow("version null") << manifest("null");
        QTest::newRow("truncated") << QByteArray("{\"quillar\": {\"version\": 2401");
    }

    void malformedManifestsReadAsVersionZero() {
        QFETCH(QByteArray, body);
        const UpdateCheck::Manifest m = UpdateCheck::parseManifest(body);
        QCOMPARE(m.version, 0.0);
        QCOMPARE(m.whatsNew, QStringList());
        QVERIFY(UpdateCheck::offersUpdate(m, 240120));
        QCOMPARE(UpdateCheck::detailedText(m), QStringLiteral("Version 0\n\n"));
    }

    void changeListOddities() {
        QCOMPARE(UpdateCheck::parseManifest(manifest("1", "\"just one line\"")).whatsNew, QStringList());
        QCOMPARE(UpdateCheck::parseManifest(manifest("1", "[\"a\", 5, null, \"b\"]")).whatsNew,
                 QStringList({"a", "", "", "b"}));
    }

    void truncation_data() {
        QTest::addColumn<double>("version");
        QTest::addColumn<int>("expected");
        QTest::newRow("integer") << 240120.0 << 240120;
        QTest::newRow("fraction") << 240120.9 << 240120;
        QTest::newRow("negative fraction") << -0.5 << 0;
        QTest::newRow("negative") << -240120.9 << -240120;
        QTest::newRow("huge") << 1e300 << INT_MAX;
        QTest::newRow("hugely negative") << -1e300 << INT_MIN;
        QTest::newRow("infinite") << std::numeric_limits<double>::infinity() << INT_MAX;
        QTest::newRow("nan") << std::numeric_limits<double>::quiet_NaN() << 0;
        QTest::newRow("int max") << double(INT_MAX) << INT_MAX;
    }

    void truncation() {
        QFETCH(double, version);
        QFETCH(int, expected);
        QCOMPARE(UpdateCheck::truncatedVersion(version), expected);
    }

    void anyOtherVersionOffersTheUpdate_data() {
        QTest::addColumn<QByteArray>("version");
        QTest::addColumn<bool>("offered");
        QTest::newRow("same") << QByteArray("240120") << false;
        QTest::newRow("older") << QByteArray("240119") << true;
        QTest::newRow("newer") << QByteArray("240121") << true;
        QTest::newRow("same with fraction") << QByteArray("240120.9") << false;
        QTest::newRow("exponent form of the same") << QByteArray("2.4012e5") << false;
        QTest::newRow("zero") << QByteArray("0") << true;
        QTest::newRow("beyond int") << QByteArray("1e30") << true;
    }

    void anyOtherVersionOffersTheUpdate() {
        QFETCH(QByteArray, version);
        QFETCH(bool, offered);
        QCOMPARE(UpdateCheck::offersUpdate(UpdateCheck::parseManifest(manifest(version)), 240120), offered);
    }

    void detailsText_data() {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("details");
        QTest::newRow("two lines") << manifest("240121", "[\"Faster shaker\", \"Condor 2 fix\"]")
                                   << "Version 240121\n\n- Faster shaker\n- Condor 2 fix\n";
        QTest::newRow("empty list") << manifest("240121") << "Version 240121\n\n";
        QTest::newRow("fraction as read") << manifest("240121.5") << "Version 240121.5\n\n";
        QTest::newRow("seven digits") << manifest("2401201") << "Version 2401201\n\n";
        QTest::newRow("markdown-looking line")
            << manifest("240119", "[\"**bold** _x_\"]") << "Version 240119\n\n- **bold** _x_\n";
    }

    void detailsText() {
        QFETCH(QByteArray, body);
        QFETCH(QString, details);
        QCOMPARE(UpdateCheck::detailedText(UpdateCheck::parseManifest(body)), details);
    }

    void addresses() {
        QCOMPARE(UpdateCheck::manifestUrl(QStringLiteral("https://vendor.example")),
                 QUrl(QStringLiteral("https://vendor.example/assets/firmware/version.json")));
        QCOMPARE(UpdateCheck::downloadPageUrl(QStringLiteral("https://vendor.example")),
                 QUrl(QStringLiteral("https://vendor.example/docs/en/downloads.html")));
        QCOMPARE(UpdateCheck::manifestUrl(QStringLiteral("http://127.0.0.1:8123/")),
                 QUrl(QStringLiteral("http://127.0.0.1:8123/assets/firmware/version.json")));
        QCOMPARE(UpdateCheck::manifestUrl(QString()).scheme(), QString());
    }

    void requestCarriesTheTimeout() {
        const UpdateCheck::Endpoint product{QStringLiteral("https://vendor.example")};
        QCOMPARE(product.transferTimeoutMs, 10000);
        const QNetworkRequest request = UpdateCheck::manifestRequest(product);
        QCOMPARE(request.transferTimeout(), 10000);
        QCOMPARE(request.url(), QUrl(QStringLiteral("https://vendor.example/assets/firmware/version.json")));
        QCOMPARE(UpdateCheck::manifestRequest({QString(), 250}).transferTimeout(), 250);
    }

    void dialogIsBuiltReadyToRun() {
        const UpdateCheck::Manifest m = UpdateCheck::parseManifest(
            manifest("240121", "[\"Faster shaker\", \"A much longer line of text\"]"));
        UpdateCheck::Dialog dialog = UpdateCheck::buildDialog(m, 240120);
        QMessageBox &box = *dialog.box;
        QCOMPARE(box.parent(), nullptr);
        QCOMPARE(box.windowTitle(), QStringLiteral("Vortane Quillar (240120)"));
        QCOMPARE(box.textFormat(), Qt::MarkdownText);
        QCOMPARE(box.text(), QStringLiteral("**New version of Vortane Quillar is available!**"));
        QCOMPARE(box.detailedText(),
                 QStringLiteral("Version 240121\n\n- Faster shaker\n- A much longer line of text\n"));
        QVERIFY(box.isSizeGripEnabled());

        QVERIFY(dialog.download);
        QCOMPARE(dialog.download->text(), QStringLiteral("Download and update"));
        QCOMPARE(box.buttonRole(dialog.download), QMessageBox::ActionRole);
        QVERIFY(box.button(QMessageBox::Cancel));
        QCOMPARE(box.buttonRole(box.button(QMessageBox::Cancel)), QMessageBox::RejectRole);
        QCOMPARE(box.buttons().size(), 3);
        QCOMPARE(box.focusWidget(), dialog.download);
        // Opening the details must not have pressed the download button.
        QCOMPARE(box.clickedButton(), nullptr);

        QAbstractButton *toggle = nullptr;
        for (QAbstractButton *button : box.buttons()) {
            if (button != dialog.download && button != box.button(QMessageBox::Cancel)) {
                toggle = button;
            }
        }
        QVERIFY(toggle);
        QCOMPARE(box.buttonRole(toggle), QMessageBox::ActionRole);
        QCOMPARE(toggle->text(), QStringLiteral("Hide Details..."));

        auto *details = box.findChild<QTextEdit *>();
        QVERIFY(details);
        QCOMPARE(details->lineWrapMode(), QTextEdit::NoWrap);
        QCOMPARE(details->minimumHeight(), 300);
        QCOMPARE(details->maximumHeight(), 300);
        const int expectedWidth =
            int(std::ceil(details->document()->idealWidth() + 2 * details->document()->documentMargin() +
                          details->style()->pixelMetric(QStyle::PM_ScrollBarExtent)));
        QCOMPARE(details->minimumWidth(), expectedWidth);
        QCOMPARE(details->maximumWidth(), expectedWidth);
        // The longest line fits without wrapping.
        QVERIFY(expectedWidth >
                details->fontMetrics().horizontalAdvance(QStringLiteral("- A much longer line of text")));
    }

    void dialogShowsWithFocusOnDownload() {
        UpdateCheck::Dialog dialog =
            UpdateCheck::buildDialog(UpdateCheck::parseManifest(manifest("240119")), 240120);
        dialog.box->show();
        QVERIFY(QTest::qWaitForWindowExposed(dialog.box.get()));
        QCOMPARE(dialog.box->focusWidget(), dialog.download);
        QTest::mouseClick(dialog.box->button(QMessageBox::Cancel), Qt::LeftButton);
        QCOMPARE(dialog.box->clickedButton(), dialog.box->button(QMessageBox::Cancel));
    }
};

QTEST_MAIN(TestUpdateCheck)
#include "tst_updatecheck.moc"
