#include "httpstub.h"
#include "mainwindow.h"
#include "scratchworkingdirectory.h"

#include <QElapsedTimer>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QtTest>

// The product's own ten-second limit against a server that accepts the request and never answers.
class TestMainWindowUpdateTimeout : public QObject {
    Q_OBJECT

private slots:
    void silentServerIsGivenUpAfterTenSeconds() {
        ScratchWorkingDirectory scratch;
        HttpStub stub;
        QVERIFY(stub.listen());
        stub.setMode(HttpStub::Mode::Silent);
        int dialogs = 0;
        QTest::ignoreMessage(QtDebugMsg, "error QNetworkReply::OperationCanceledError");
        QElapsedTimer clock;
        clock.start();
        MainWindow window(UpdateCheck::Endpoint{QStringLiteral("http://127.0.0.1:%1").arg(stub.port())});
        window.setUpdateDialogRunner([&dialogs](QMessageBox &) { ++dialogs; });
        auto *network = window.findChild<QNetworkAccessManager *>();
        QVERIFY(network);
        auto pending = [network] { return network->findChildren<QNetworkReply *>().size(); };

        // Qt's coarse timers may fire up to 5 % early, never more, so at eight seconds the request still
        // waits.
        QTRY_COMPARE(stub.requestCount(), 1);
        while (clock.elapsed() < 8000) {
            QTest::qWait(200);
        }
        QCOMPARE(pending(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(pending(), 0, 60000);
        QVERIFY(clock.elapsed() >= 9500);
        QCOMPARE(dialogs, 0);
    }
};

QTEST_MAIN(TestMainWindowUpdateTimeout)
#include "tst_mainwindowupdatetimeout.moc"
