#include "updatecheck.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QScrollBar>
#include <QStyle>
#include <QTextDocument>
#include <QTextEdit>
#include <climits>
#include <cmath>

namespace UpdateCheck {

namespace {
QString withoutTrailingSlash(QString baseUrl) {
    while (baseUrl.endsWith(QLatin1Char('/'))) {
        baseUrl.chop(1);
    }
    return baseUrl;
}
} // namespace

Manifest parseManifest(const QByteArray &body) {
    // Anything that is not the expected shape reads as version 0 with no changes; the dialog then still
    // appears, which is the intended outcome for a broken manifest.
    const QJsonObject quillar =
        QJsonDocument::fromJson(body).object().value(QLatin1String("quillar")).toObject();
    Manifest manifest;
    // toInt() would give 0 for 240120.9, so the number is read as a double and truncated later.
    manifest.version = quillar.value(QLatin1String("version")).toDouble();
    const QJsonArray lines = quillar.value(QLatin1String("whats_new")).toArray();
    for (const QJsonValue &line : lines) {
        manifest.whatsNew << line.toString();
    }
    return manifest;
}

int truncatedVersion(double version) {
    if (std::isnan(version)) {
        return 0;
    }
    if (version >= double(INT_MAX)) {
        return INT_MAX;
    }
    if (version <= double(INT_MIN)) {
        return INT_MIN;
    }
    return int(version);
}

bool offersUpdate(const Manifest &manifest, int applicationVersion) {
    // Inequality, not "newer": a withdrawn release on the server also sends users to the download page.
    return truncatedVersion(manifest.version) != applicationVersion;
}

QString detailedText(const Manifest &manifest) {
    QString text = QStringLiteral("Version %1").arg(manifest.version, 0, 'g', QLocale::FloatingPointShortest);
    text += QStringLiteral("\n\n");
    for (const QString &line : manifest.whatsNew) {
        text += QStringLiteral("- %1").arg(line);
        text += QLatin1Char('\n');
    }
    return text;
}

QUrl manifestUrl(const QString &baseUrl) {
    return QUrl(withoutTrailingSlash(baseUrl) + QStringLiteral("/assets/firmware/version.json"));
}

QUrl downloadPageUrl(const QString &baseUrl) {
    return QUrl(withoutTrailingSlash(baseUrl) + QStringLiteral("/docs/en/downloads.html"));
}

QNetworkRequest manifestRequest(const Endpoint &endpoint) {
    QNetworkRequest request(manifestUrl(endpoint.baseUrl));
    request.setTransferTimeout(endpoint.transferTimeoutMs);
    return request;
}

Dialog buildDialog(const Manifest &manifest, int applicationVersion) {
    Dialog dialog;
    dialog.box = std::make_unique<QMessageBox>();
    QMessageBox &box = *dialog.box;
    box.setWindowTitle(QStringLiteral("Vortane Quillar (%1)").arg(applicationVersion));
    box.setTextFormat(Qt::MarkdownText);
    box.setText(QStringLiteral("**New version of Vortane Quillar is available!**"));
    // The details toggle is created here, so it exists before the two buttons below.
    box.setDetailedText(detailedText(manifest));
    box.addButton(QMessageBox::Cancel);
    dialog.download = box.addButton(QStringLiteral("Download and update"), QMessageBox::ActionRole);
    box.setSizeGripEnabled(true);

    if (auto *details = box.findChild<QTextEdit *>()) {
        details->setLineWrapMode(QTextEdit::NoWrap);
        // The scroll bar has no real size before the box is laid out, so its width comes from the style.
        const qreal width = details->document()->idealWidth() + 2 * details->document()->documentMargin() +
                            details->style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, details);
        details->setFixedWidth(int(std::ceil(width)));
        details->setFixedHeight(300);
    }

    // Open the details at once. The toggle shares the action role with the download button; clicking the
    // download button here would close the box and start the browser unasked, so it is skipped by identity.
    const QList<QAbstractButton *> buttons = box.buttons();
    for (QAbstractButton *button : buttons) {
        if (button != dialog.download && box.buttonRole(button) == QMessageBox::ActionRole) {
            button->click();
            break;
        }
    }
    dialog.download->setFocus();
    return dialog;
}

} // namespace UpdateCheck
