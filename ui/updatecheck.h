#pragma once

#include <QByteArray>
#include <QNetworkRequest>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <memory>

class QMessageBox;
class QPushButton;

// The start-up question to the vendor's web host: is there a release other than ours? The network side
// lives in MainWindow; everything here works on plain values so it can be checked without a server.
namespace UpdateCheck {

constexpr int TransferTimeoutMs = 10000;

// Where the manifest lives. The base address (scheme and host) comes from the build; with an empty one
// the window makes no request at all.
struct Endpoint {
    QString baseUrl;
    int transferTimeoutMs = TransferTimeoutMs;
};

struct Manifest {
    double version = 0; // as read; 0 when the body is not the expected JSON
    QStringList whatsNew;
};

Manifest parseManifest(const QByteArray &body);

// Truncates towards zero and saturates, so 240120.9 compares equal to 240120 and absurd numbers stay defined.
int truncatedVersion(double version);

// True when the dialog is due: any version other than ours, older ones included.
bool offersUpdate(const Manifest &manifest, int applicationVersion);

QString detailedText(const Manifest &manifest);

QUrl manifestUrl(const QString &baseUrl);
QUrl downloadPageUrl(const QString &baseUrl);
QNetworkRequest manifestRequest(const Endpoint &endpoint);

struct Dialog {
    std::unique_ptr<QMessageBox> box;
    QPushButton *download = nullptr;
};

// The notice, ready to run: details open, keyboard focus on "Download and update".
Dialog buildDialog(const Manifest &manifest, int applicationVersion);

} // namespace UpdateCheck
